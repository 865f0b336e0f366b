"""Small sound media of every container that the tools read, for others to damage."""
import os
import subprocess

PICTURE = "-f lavfi -i testsrc=s=96x64:r=10:d=2"
SOUND = "-f lavfi -i sine=f=440:r=48000:d=2"
AVC = "-c:v libx264 -preset ultrafast -g 5 -pix_fmt yuv420p"
MPEG = "-c:v mpeg2video -r 25 -g 5"

# What makes each file, by its name.
RECIPES = {
    "fast.mp4": f"{PICTURE} {SOUND} {AVC} -c:a aac -movflags +faststart",
    "late.mov": f"{PICTURE} {SOUND} {AVC} -c:a aac",
    "silent.mov": f"{PICTURE} {AVC}",
    "pieces.mp4": f"{PICTURE} {SOUND} {AVC} -c:a aac -movflags frag_keyframe+empty_moov",
    "film.ts": f"{PICTURE} {SOUND} {MPEG} -c:a mp2",
    "film.mkv": f"{PICTURE} {SOUND} {AVC} -c:a flac",
    "film.webm": f"{PICTURE} {SOUND} -c:v libvpx -deadline realtime -c:a libvorbis",
    "film.avi": f"{PICTURE} {SOUND} -c:v mpeg4 -c:a mp3",
    "film.flv": f"{PICTURE} {SOUND} -c:v flv -ar 44100 -c:a mp3",
    "film.mxf": f"{PICTURE} {SOUND} {MPEG} -c:a pcm_s16le",
    "film.mpg": f"{PICTURE} {SOUND} {MPEG} -c:a mp2",
    "film.asf": f"{PICTURE} {SOUND} -c:v msmpeg4 -c:a wmav2",
    "film.h264": f"{PICTURE} {AVC}",
    "tone.wav": SOUND,
    "tone.flac": SOUND,
    "tone.mp3": SOUND,
    "tone.ogg": f"{SOUND} -c:a libvorbis",
}

# Longer ones, of which a transcode in segments makes several.
LONG = "-f lavfi -i testsrc=s=96x64:r=25:d=9 -f lavfi -i sine=f=440:r=48000:d=9"
LONG_RECIPES = {
    "long.mp4": f"{LONG} {AVC} -c:a aac",
    "long.ts": f"{LONG} {MPEG} -c:a mp2",
    "long.mkv": f"{LONG} {AVC} -c:a flac",
}


def make(folder, name, arguments):
    """Makes one file with ffmpeg and returns its path."""
    path = os.path.join(folder, name)
    command = ["ffmpeg", "-nostdin", "-y", "-loglevel", "error", *arguments.split(), path]
    subprocess.run(command, check=True)
    return path


def make_all(folder, recipes):
    """Makes every recipe in `folder` and returns the contents by file name."""
    contents = {}
    for name, arguments in recipes.items():
        with open(make(folder, name, arguments), "rb") as file:
            contents[name] = file.read()
    return contents
