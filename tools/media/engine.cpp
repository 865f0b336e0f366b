#include "tools/media/engine.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <sstream>
#include <utility>

#include "platform/text.h"
#include "tools/job_log/job_log.h"

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

// Troubles of the machine that have nothing to do with the file, and pass.
constexpr int passing_errors[] = {ENOMEM,      EIO,          ESTALE,   EAGAIN,      ETIMEDOUT,
                                  EHOSTDOWN,   EHOSTUNREACH, ENETDOWN, ENETUNREACH, ENOTCONN,
                                  ECONNRESET,  ECONNABORTED, ENODEV,   ENXIO,       EREMOTEIO,
                                  EKEYEXPIRED, EMFILE,       ENFILE};

// The beginning of the URL of everything that a sandboxed engine reads and writes.
constexpr const char* descriptors_url = "file:/proc/self/fd/";

// What ffmpeg ends with when it was asked to stop.
constexpr int asked_to_stop = 255;

// Lines that say of others that they came again, or only that it is over.
bool tells_nothing(std::string_view line) {
  return line.find_first_not_of(' ') == std::string_view::npos ||
         line.find("Last message repeated") != std::string_view::npos ||
         line.find("Conversion failed!") != std::string_view::npos;
}

// Without "[mov,mp4 @ 0x5562c7a8]" in front.
std::string without_speaker(std::string_view line) {
  while (!line.empty() && line[0] == '[' && line.find("] ") != std::string_view::npos) {
    line.remove_prefix(line.find("] ") + 2);
  }
  return std::string(line);
}

std::string first_telling_line(std::string_view errors) {
  while (!errors.empty()) {
    const std::size_t end = std::min(errors.find('\n'), errors.size());
    if (!tells_nothing(errors.substr(0, end))) { return without_speaker(errors.substr(0, end)); }
    errors.remove_prefix(std::min(end + 1, errors.size()));
  }
  return "";
}

// A machine-wide problem that is named in the errors. It is the cause even if the engine complained
// about the file before. Empty if there is none.
std::string machine_trouble(const std::string& errors) {
  for (const int error : {ENOSPC, EDQUOT, EFBIG, ENOMEM}) {
    if (errors.find(std::strerror(error)) != std::string::npos) { return std::strerror(error); }
  }
  return "";
}

}  // namespace

program_request confined_request(argument_list argv, const source_file& source) {
  program_request request;
  request.argv = std::move(argv);
  request.confined_to.emplace().readable = {source.fd()};
  return request;
}

program_request confined_request(argument_list argv, const source_file& source,
                                 const output_file& output, std::uint64_t largest_output) {
  program_request request = confined_request(std::move(argv), source);
  request.confined_to->writable = output.fd();
  request.confined_to->largest_file = largest_output;
  return request;
}

argument_list ffprobe_command() {
  return {ffprobe_path, "-hide_banner", "-loglevel", "error"};
}

argument_list ffmpeg_command() {
  return {ffmpeg_path, "-nostdin", "-hide_banner", "-nostats", "-loglevel", "error"};
}

void add_segment_list(argument_list& arguments, const std::string& url) {
  append(arguments,
         {"-protocol_whitelist", "file", "-format_whitelist", "concat,mov", "-f", "concat", "-safe",
          "1", "-auto_convert", "0", "-max_alloc", "1073741824", "-i", url});
}

void add_input(argument_list& arguments, const std::string& url, std::string_view format,
               const probe_depth& depth) {
  append(arguments, {"-protocol_whitelist", "file", "-format_whitelist",
                     format.empty() ? containers : std::string(format)});
  if (!format.empty()) { append(arguments, {"-f", std::string(format)}); }
  if (depth.follow_program) { append(arguments, {"-merge_pmt_versions", "1"}); }
  append(arguments,
         {"-max_streams", "64", "-probesize", std::to_string(depth.bytes), "-analyzeduration",
          std::to_string(depth.seconds) + "M", "-max_alloc", "1073741824", "-i", url});
}

void add_output(argument_list& arguments, std::string_view format, const std::string& url) {
  append(arguments, {"-f", std::string(format), "-protocol_whitelist", "file", "-y", url});
}

std::string_view sniff_still(std::string_view head) {
  for (const still_kind& kind : still_kinds) {
    if (head.size() < kind.offset) { continue; }
    if (head.substr(kind.offset, kind.magic.size()) == kind.magic) { return kind.demuxer; }
  }
  return {};
}

std::string engine_cause(const program_result& result, const std::string& url) {
  if (result.end == program_end::not_started) { name_failure(failure::engine_missing); }
  if (result.end == program_end::killed) {
    const std::string line = first_telling_line(result.errors);
    return line.empty() ? result.message : result.message + ": " + line;
  }
  if (result.end != program_end::exited) { return result.cause(); }
  if (result.errors.find("not on whitelist") != std::string::npos) {
    return "is not audio or video of a supported kind";
  }
  std::string trouble = machine_trouble(result.errors);
  if (!trouble.empty()) { return trouble; }
  const std::string prefix = url + ": ";
  const std::size_t at = result.errors.find(prefix);
  if (at != std::string::npos) {
    const std::size_t begin = at + prefix.size();
    return result.errors.substr(begin, result.errors.find('\n', begin) - begin);
  }
  const std::string line = first_telling_line(result.errors);
  return line.empty() ? "exit status " + std::to_string(result.exit_status) : line;
}

bool names_passing_trouble(const program_result& result) {
  return std::any_of(std::begin(passing_errors), std::end(passing_errors), [&](int error) {
    return result.errors.find(std::strerror(error)) != std::string::npos;
  });
}

bool has_complained(const program_result& result) {
  std::istringstream lines(result.errors);
  for (std::string line; std::getline(lines, line);) {
    if (begins_with(line, "[") || begins_with(line, "Error ")) { return true; }
  }
  return !machine_trouble(result.errors).empty() || names_passing_trouble(result) ||
         result.errors.find(descriptors_url) != std::string::npos;
}

bool is_interruption(const program_result& result) {
  switch (result.end) {
  case program_end::killed:
  case program_end::not_started:
  case program_end::timed_out:
  case program_end::stalled:
  case program_end::tool_stopped:
    return true;
  case program_end::too_much_output:
  case program_end::given_up:
    return false;
  case program_end::exited:
    break;
  }
  return result.exit_status == asked_to_stop || names_passing_trouble(result);
}
