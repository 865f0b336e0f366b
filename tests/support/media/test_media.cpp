#include "tests/support/media/test_media.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace qx_test {
namespace {

namespace fs = std::filesystem;

// The arguments between "ffmpeg -y" and the output, separated by blanks; a word "@" is replaced
// with the path of `source`.
struct recipe {
  std::string_view name;
  std::string_view arguments;
  std::string_view source = {};
};

#define QX_TONE "-f lavfi -i sine=frequency=1000:sample_rate=48000 "
#define QX_SCENE(size, rate) "-f lavfi -i testsrc2=size=" size ":rate=" rate " "
#define QX_MPEG2 "-c:v mpeg2video -b:v 3M -c:a mp2 -ac 2 -f mpegts "
#define QX_FIELDS(size) "-f lavfi -i testsrc2=size=" size ":rate=50,tinterlace=interleave_top "
#define QX_INTERLACED "-flags +ildct+ilme -top 1 -field_order tt -output_ts_offset 1234.567 "
#define QX_H264 "-c:v libx264 -preset ultrafast -pix_fmt yuv420p -c:a aac -ac 2 -f mp4 "

constexpr recipe recipes[] = {
    {"interlaced.ts", QX_FIELDS("1920x1080") QX_TONE "-t 3 " QX_INTERLACED QX_MPEG2},
    {"interlaced_small.ts", QX_FIELDS("320x240") QX_TONE "-t 3 " QX_INTERLACED QX_MPEG2},
    {"two_programs.ts", QX_SCENE("160x120", "25") QX_SCENE("320x240", "25") QX_TONE
     "-f lavfi -i sine=frequency=3000:sample_rate=48000 -map 0 -map 2 -map 1 -map 3 -t 2 "
     "-program program_num=1:st=0:st=1 -program program_num=2:st=2:st=3 " QX_MPEG2},
    {"progressive.mp4", QX_SCENE("640x360", "25") QX_TONE "-t 4 " QX_H264},
    {"large.mp4", QX_SCENE("1280x720", "25") QX_TONE "-t 1 " QX_H264},
    {"long.mp4", QX_SCENE("320x180", "25") QX_TONE "-t 120 " QX_H264},
    {"anamorphic_4_3.ts", QX_SCENE("720x576", "25") QX_TONE "-t 2 -vf setsar=16/15 " QX_MPEG2},
    {"anamorphic_16_9.ts", QX_SCENE("720x576", "25") QX_TONE "-t 2 -vf setsar=64/45 " QX_MPEG2},
    {"film_rate.mp4", QX_SCENE("320x180", "24000/1001") QX_TONE "-t 2 " QX_H264},
    {"variable_rate.mp4", QX_SCENE("320x180", "50") QX_TONE
     "-t 2 -vf select='if(lt(t,1),not(mod(n,2)),not(mod(n,5)))' -vsync vfr " QX_H264},
    {"odd_size.mkv", QX_SCENE("321x241", "25") QX_TONE
     "-t 1 -c:v libx264 -preset ultrafast -pix_fmt yuv444p -c:a aac -f matroska "},
    {"step.ts",
     "-f lavfi -i color=black:size=320x240:rate=25,geq=lum='if(gte(T,2),235,16)':cb=128:cr=128 "
     "-f lavfi -i aevalsrc='if(gte(t,2),sin(6283*t),0)':sample_rate=48000 "
     "-t 4 -output_ts_offset 95441.7 " QX_MPEG2},
    {"late_picture.ts", "-itsoffset 0.6 " QX_SCENE("320x240", "25") QX_TONE "-t 3 " QX_MPEG2},
    {"late_sound.ts", QX_SCENE("320x240", "25") "-itsoffset 0.6 " QX_TONE "-t 3 " QX_MPEG2},
    {"tone.mp3", QX_TONE "-t 3 -ac 2 -ar 44100 -f mp3 "},
    {"tone.wav", QX_TONE "-t 3 -ac 2 -f wav "},
    {"tone.m4a", QX_TONE "-t 3 -ac 2 -c:a aac -f ipod "},
    {"tone.aac", QX_TONE "-t 3 -ac 2 -c:a aac -f adts "},
    {"surround.m4a", QX_TONE "-t 1 -ac 6 -c:a aac -f ipod "},
    {"covered.mp3",
     QX_TONE QX_SCENE("200x200",
                      "1") "-map 0 -map 1 -t 2 -ar 44100 -frames:v 1 -c:v mjpeg -pix_fmt yuvj420p "
                           "-disposition:v attached_pic -id3v2_version 3 -f mp3 "},
    {"silent.mp4", QX_SCENE("320x180", "25") "-t 2 " QX_H264},
    {"hdr.mkv",
     QX_SCENE("128x72",
              "25") "-t 1 -c:v libx265 -preset ultrafast -pix_fmt yuv420p10le "
                    "-color_primaries bt2020 -color_trc smpte2084 -colorspace bt2020nc "
                    "-x265-params log-level=none:pools=none:frame-threads=1 -f matroska "},
    {"white_left.mp4",
     "-f lavfi -i color=black:size=320x180:rate=25,drawbox=w=160:h=180:c=white:t=fill "
     "-t 2 " QX_H264},
    {"raw.h264", QX_SCENE("320x180", "25") "-t 2 -c:v libx264 -preset ultrafast -f h264 "},
    {"indexed.mp4", "-i @ -c copy -movflags +faststart -f mp4 ", "progressive.mp4"},
    {"rotated.mp4", "-i @ -c copy -metadata:s:v rotate=270 -f mp4 ", "white_left.mp4"},
    {"still.png", QX_SCENE("200x100", "25") "-frames:v 1 -f image2 -update 1 -c:v png "},
    {"still.jpg", QX_SCENE("200x100", "25") "-frames:v 1 -f image2 -update 1 -c:v mjpeg "},
};

// Files made by changing the bytes of another one.
struct derivation {
  std::string_view name;
  std::string_view source;
  std::string (*change)(std::string bytes);
};

std::string replace_by_text(std::string bytes) {
  bytes = "This is no film.\n";
  return bytes;
}

std::string empty(std::string bytes) {
  bytes.clear();
  return bytes;
}

std::string cut(std::string bytes) {
  bytes.resize(bytes.size() * 6 / 10 + 77);
  return bytes;
}

// Damages every fifth packet, after its header, between 40 % and 60 % of the file.
std::string damage(std::string bytes) {
  constexpr std::size_t packet = 188;
  const std::size_t packets = bytes.size() / packet;
  for (std::size_t n = packets * 4 / 10; n < packets * 6 / 10; n += 5) {
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(n * packet + 10), 150, '\x55');
  }
  return bytes;
}

constexpr derivation derivations[] = {
    {"text.mp4", "", replace_by_text},
    {"empty.mp4", "", empty},
    {"truncated.ts", "interlaced_small.ts", cut},
    {"truncated.mp4", "indexed.mp4", cut},
    {"damaged.ts", "interlaced_small.ts", damage},
};

std::vector<std::string> words_of(std::string_view text) {
  std::istringstream stream{std::string(text)};
  return {std::istream_iterator<std::string>(stream), {}};
}

bool run_ffmpeg(std::vector<std::string> arguments) {
  const std::vector<std::string> first = {"ffmpeg", "-nostdin", "-v", "error", "-y"};
  arguments.insert(arguments.begin(), first.begin(), first.end());
  std::vector<char*> argv;
  for (std::string& argument : arguments) {
    argv.push_back(argument.data());
  }
  argv.push_back(nullptr);
  pid_t pid = -1;
  int status = -1;
  return posix_spawn(&pid, "/usr/bin/ffmpeg", nullptr, nullptr, argv.data(), environ) == 0 &&
         waitpid(pid, &status, 0) == pid && status == 0;
}

std::string read_bytes(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

bool write_bytes(const std::string& path, const std::string& bytes) {
  std::ofstream stream(path, std::ios::binary);
  stream << bytes;
  return static_cast<bool>(stream.flush());
}

bool encode(const recipe& known, const std::string& path) {
  std::vector<std::string> words = words_of(known.arguments);
  if (!known.source.empty()) {
    std::replace(words.begin(), words.end(), std::string("@"), test_media(known.source));
  }
  words.push_back(path);
  return run_ffmpeg(words);
}

bool make(std::string_view name, const std::string& path) {
  for (const recipe& known : recipes) {
    if (known.name == name) { return encode(known, path); }
  }
  for (const derivation& known : derivations) {
    if (known.name != name) { continue; }
    const std::string source = known.source.empty() ? "" : read_bytes(test_media(known.source));
    return write_bytes(path, known.change(source));
  }
  return false;
}

}  // namespace

std::string test_media(std::string_view name) {
  const fs::path folder = QX_TEST_MEDIA_DIR;
  const fs::path path = folder / name;
  fs::create_directories(folder);
  if (fs::exists(path)) { return path; }

  // One test makes the file while the others wait for the lock; the rename protects those that do
  // not lock.
  const int lock = open((path.string() + ".lock").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0666);
  flock(lock, LOCK_EX);
  bool made = fs::exists(path);
  if (!made) {
    const std::string part = path.string() + ".part";
    made = make(name, part);
    if (made) { fs::rename(part, path); }
  }
  close(lock);
  EXPECT_TRUE(made) << "cannot make " << name;
  return made ? path.string() : std::string();
}

}  // namespace qx_test
