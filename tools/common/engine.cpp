// How the media engines are called.
#include "tools/common/engine.h"

namespace {

constexpr const char* containers = "mov,mpegts,mpeg,mpegvideo,mxf,avi,asf,matroska,flv,gxf,h264,"
                                   "hevc,mp3,aac,ac3,wav,aiff,flac,ogg,dv";

struct still_kind {
  std::string_view magic;
  std::size_t offset;
  std::string_view demuxer;
};

constexpr still_kind still_kinds[] = {
    {"\x89PNG\r\n\x1a\n", 0, "png_pipe"},
    {"\xff\xd8\xff", 0, "jpeg_pipe"},
    {"GIF8", 0, "gif"},
    {"BM", 0, "bmp_pipe"},
    {std::string_view("II*\0", 4), 0, "tiff_pipe"},
    {std::string_view("MM\0*", 4), 0, "tiff_pipe"},
    {"WEBP", 8, "webp_pipe"},
};

void append(argument_list& arguments, std::initializer_list<std::string> more) {
  arguments.insert(arguments.end(), more);
}

}  // namespace

argument_list ffprobe_command() {
  return {ffprobe_path, "-hide_banner", "-loglevel", "error"};
}

argument_list ffmpeg_command() {
  return {ffmpeg_path, "-nostdin", "-hide_banner", "-nostats", "-loglevel", "error"};
}

void add_input(argument_list& arguments, const std::string& url, std::string_view format) {
  append(arguments, {"-protocol_whitelist", "file", "-format_whitelist",
                     format.empty() ? containers : std::string(format)});
  if (!format.empty()) append(arguments, {"-f", std::string(format)});
  append(arguments, {"-max_streams", "64", "-probesize", "10M", "-analyzeduration", "10M",
                     "-max_alloc", "1073741824", "-i", url});
}

void add_output(argument_list& arguments, std::string_view format, const std::string& url) {
  append(arguments, {"-f", std::string(format), "-protocol_whitelist", "file", "-y", url});
}

std::string_view sniff_still(std::string_view head) {
  for (const still_kind& kind : still_kinds) {
    if (head.size() < kind.offset) continue;
    if (head.substr(kind.offset, kind.magic.size()) == kind.magic) return kind.demuxer;
  }
  return {};
}

std::string engine_cause(const program_result& result, const std::string& url) {
  if (result.end != program_end::exited) return result.cause();
  if (result.errors.find("not on whitelist") != std::string::npos)
    return "is no kind of film or sound";
  const std::string prefix = url + ": ";
  const std::size_t at = result.errors.rfind(prefix);
  if (at == std::string::npos) return result.cause();
  const std::size_t begin = at + prefix.size();
  return result.errors.substr(begin, result.errors.find('\n', begin) - begin);
}
