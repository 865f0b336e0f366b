"""Pictures of enormous size, of which only a few bytes are in the file."""
import struct
import zlib

import base_media
from attack_input import AttackInput, content
from damage import damaged


def chunk(kind, data):
    """A chunk of a PNG file."""
    return struct.pack(">I4s", len(data), kind) + data + struct.pack(">I", zlib.crc32(kind + data))


def png(width, height, depth=8, colour=2, data=b""):
    """A PNG file of this size with `data` for its points."""
    header = struct.pack(">IIBBBBB", width, height, depth, colour, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", data) + chunk(b"IEND", b"")


def white_png(side):
    """A PNG file whose points are all there, and all the same."""
    packer = zlib.compressobj(9)
    line = b"\0" + b"\xff" * (side // 8)
    data = b"".join(packer.compress(line) for _ in range(side)) + packer.flush()
    return png(side, side, 1, 0, data)


def jpeg(side):
    """The beginning of a JPEG file of this size."""
    tables = b"\xff\xdb\0\x43\0" + b"\1" * 64
    frame = struct.pack(">BHHB", 8, side, side, 3) + b"\1\x22\0\2\x11\0\3\x11\0"
    scan = b"\xff\xda\0\x0c\3\1\0\2\0\3\0\0\x3f\0" + b"\0" * 500
    return b"\xff\xd8" + tables + b"\xff\xc0\0\x11" + frame + scan


def bmp(width, height, bits=24):
    """The beginning of a BMP file."""
    return b"BM" + struct.pack("<IHHIIiiHHIIiiII", 100, 0, 0, 54, 40, width, height, 1, bits,
                               0, 0, 1, 1, 0, 0) + b"\0" * 100


def gif(side, frames):
    """A GIF file of many small frames on a large canvas."""
    frame = b"\x21\xf9\4\0\1\0\0\0" + b"\x2c" + struct.pack("<HHHHB", 0, 0, 1, 1, 0) + b"\2\2\x44\1\0"
    return b"GIF89a" + struct.pack("<HHBBB", side, side, 0x80, 0, 0) + b"\0" * 6 + frame * frames + b";"


def tiff(side):
    """A TIFF file of one strip that is not there."""
    tags = ((256, side), (257, side), (258, 8), (259, 1), (262, 1), (273, 8), (277, 1), (278, side),
            (279, 0x7FFFFFFF))
    entries = b"".join(struct.pack("<HHII", tag, 4, 1, value) for tag, value in tags)
    return b"II*\0" + struct.pack("<IH", 8, len(tags)) + entries + b"\0\0\0\0"


def inputs(folder):
    """Everything of this kind; `folder` is for media that have to be made."""
    film = "-f lavfi -i color=s=16000x16000:r=1:d=1 -frames:v 1 -c:v mjpeg -pix_fmt yuvj420p"
    with open(base_media.make(folder, "huge.mov", film), "rb") as file:
        huge = file.read()
    kinds = [
        ("film_16000", "film.mov", huge),
        ("film_16000_flipped", "film.mov", damaged(huge, "huge")),
        ("png_16k", "p.png", png(16384, 16384)),
        ("png_2g", "p.png", png(0x7FFFFFFF, 0x7FFFFFFF)),
        ("png_white_16k", "p.png", white_png(16384)),
        ("png_white_as_film", "film.mp4", white_png(16384)),
        ("jpeg_16k", "p.jpg", jpeg(16384)),
        ("jpeg_64k", "p.jpg", jpeg(65535)),
        ("bmp_16k", "p.bmp", bmp(16384, 16384)),
        ("bmp_negative", "p.bmp", bmp(-0x7FFFFFFF, -0x80000000)),
        ("gif_64k", "p.gif", gif(65535, 1)),
        ("gif_many", "p.gif", gif(4096, 20000)),
        ("tiff_64k", "p.tif", tiff(65535)),
        ("webp_16k", "p.webp", b"RIFF\x40\0\0\0WEBPVP8 \x30\0\0\0\x10\0\0\x9d\1\x2a\xff\x3f\xff\x3f"
         + b"\0" * 40),
    ]
    made = [AttackInput(name, file, content(data)) for name, file, data in kinds]
    for one in made:
        # Several pictures of half a gigabyte have to be decoded on the way to a good one.
        one.seconds = 240 if one.name.startswith("film_") else one.seconds
    return made
