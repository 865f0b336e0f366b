#include "tools/qxmi_vod_transcode/segment_key.h"

#include <algorithm>
#include <cerrno>

#include <glob.h>
#include <unistd.h>

#include "tools/qxmi_vod_transcode/content_sum.h"
#include "tools/qxmi_vod_transcode/segment_commands.h"

namespace {

constexpr off_t part_size = 65536;

// The engine and the libraries that make its packets and pictures.
constexpr const char* engine_files[] = {ffmpeg_path,
                                        "/usr/lib/*/libx264.so.*",
                                        "/usr/lib/*/libavcodec.so.*",
                                        "/usr/lib/*/libavfilter.so.*",
                                        "/usr/lib/*/libavformat.so.*",
                                        "/usr/lib/*/libavutil.so.*",
                                        "/usr/lib/*/libswresample.so.*",
                                        "/usr/lib/*/libswscale.so.*",
                                        "/usr/lib/*/libzimg.so.*",
                                        "/usr/local/lib/libx264.so.*",
                                        "/usr/local/lib/libavcodec.so.*"};

std::string line(const std::string& name, const std::string& value) {
  return name + "=" + value + "\n";
}

std::string state_of(const struct stat& status) {
  return std::to_string(status.st_size) + " " + std::to_string(status.st_mtim.tv_sec) + "." +
         std::to_string(status.st_mtim.tv_nsec);
}

// Of the beginning, the middle and the end. False with errno on failure.
bool add_parts(const source_file& source, content_sum& sum) {
  std::string bytes(part_size, '\0');
  const off_t last = std::max<off_t>(0, source.size() - part_size);
  for (const off_t at : {off_t{0}, last / 2, last}) {
    ssize_t count = 0;
    do {
      count = pread(source.fd(), bytes.data(), bytes.size(), at);
    } while (count < 0 && errno == EINTR);
    if (count < 0) { return false; }
    sum.add(std::string_view(bytes).substr(0, static_cast<std::size_t>(count)));
  }
  return true;
}

// Every setting is in the command lines.
std::uint64_t sum_of_commands(const source_media& media, encode_settings settings,
                              const segment_plan& plan) {
  settings.threads = 1;
  settings.time_limit = 1.0;
  content_sum sum;
  segment_run middle;
  middle.pictures = middle.sounds = {1, 2};
  for (const segment_run& run : {segment_run(), middle}) {
    for (const std::string& argument : run_command(media, settings, plan, run, "in", "out/")) {
      sum.add(argument);
      sum.add("\n");
    }
  }
  return sum.value();
}

}  // namespace

std::string installed_engine() {
  std::string text;
  for (const char* pattern : engine_files) {
    glob_t found = {};
    if (glob(pattern, 0, nullptr, &found) == 0) {
      for (std::size_t i = 0; i < found.gl_pathc; ++i) {
        struct stat status = {};
        if (stat(found.gl_pathv[i], &status) != 0) { continue; }
        text += line("engine", std::string(found.gl_pathv[i]) + " " + state_of(status));
      }
    }
    globfree(&found);
  }
  return text;
}

bool segment_key(const source_file& source, const source_media& media,
                 const encode_settings& settings, const segment_plan& plan, std::string& key) {
  content_sum content;
  if (!add_parts(source, content)) { return false; }
  key = line("source", state_of(source.status())) + line("content", hexadecimal(content.value())) +
        installed_engine() + line("commands", hexadecimal(sum_of_commands(media, settings, plan))) +
        line("segment", std::to_string(plan.frames) + " " + std::to_string(plan.packets));
  return true;
}
