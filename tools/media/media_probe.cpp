#include "tools/media/media_probe.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include <unistd.h>

#include "platform/media_metadata.h"
#include "tools/job_log/job_log.h"
#include "tools/media/engine.h"
#include "tools/media/media_report.h"
#include "tools/media/packet_reader.h"
#include "tools/media/packet_timeline.h"
#include "tools/media/process_runner.h"
#include "tools/media/size_text.h"
#include "tools/media/source_file.h"
#include "tools/media/time_budget.h"
#include "tools/media/tool_config.h"
#include "tools/media/transport_clock.h"

namespace {

// Everything the engine reads ahead is kept in memory.
constexpr std::int64_t deepest_probe = 1'000'000'000;

// How much data of a stream, from its first packet on, the engine needs to recognise it.
constexpr std::int64_t probe_margin_bytes = 4'000'000;
constexpr int probe_margin_s = 3;

// For looking for the first packet of a stream that is announced: it may never come.
constexpr std::chrono::seconds late_stream_time_limit{20};

std::string_view still_format(const source_file& source) {
  char head[16];
  const ssize_t count = pread(source.fd(), head, sizeof head, 0);
  return count > 0 ? sniff_still({head, static_cast<std::size_t>(count)}) : std::string_view();
}

program_request report_request(const source_file& source, std::string_view format,
                               probe_depth depth) {
  depth.follow_program = true;
  program_request request = confined_request(ffprobe_command(), source);
  request.argv.insert(request.argv.end(),
                      {"-of", "json=c=1", "-show_entries", media_report_entries});
  add_input(request.argv, source.url(), format, depth);
  set_budget(request, probe_budget(depth));
  return request;
}

bool refuse(std::string& error, std::string cause) {
  error = std::move(cause);
  return false;
}

// The engine could not read the source.
bool refuse(std::string& error, const program_result& result, const source_file& source,
            bool* interrupted) {
  if (interrupted != nullptr) { *interrupted = is_interruption(result); }
  return refuse(error, engine_cause(result, source.url()));
}

void log_media(const media_info& info) {
  log_length(info.container + (info.duration_estimated ? ", estimated:" : ", declared:"),
             info.duration);
  for (const video_stream& video : info.video) {
    log_length("stream " + std::to_string(video.index) + ", " + video.codec + " " +
                   std::to_string(video.coded.width) + "x" + std::to_string(video.coded.height) +
                   ", declared:",
               video.duration);
  }
  for (const audio_stream& audio : info.audio) {
    log_length("stream " + std::to_string(audio.index) + ", " + audio.codec + " " +
                   std::to_string(audio.channels) + " channels, declared:",
               audio.duration);
  }
}

bool take_report(const program_result& result, const source_file& source, const probe_depth& depth,
                 media_info& info, std::string& error, bool* interrupted) {
  const std::string version = engine_version(result.output);
  if (!version.empty()) { log_note("engine version", version); }
  if (!result.success()) { return refuse(error, result, source, interrupted); }
  if (!read_media_report(result.output, info)) {
    return refuse(error, "the probe reported nothing");
  }
  info.depth = depth;
  info.depth.follow_program = info.container == "mpegts";
  return true;
}

bool read_report(const source_file& source, std::string_view format, const probe_depth& depth,
                 media_info& info, std::string& error, bool* interrupted) {
  const program_result result = run_program(report_request(source, format, depth));
  return take_report(result, source, depth, info, error, interrupted);
}

// The location of a stream's first packet: its place in the file and its time, each -1 if it is not
// known.
struct first_packet {
  std::int64_t position = -1;
  double time = -1.0;
};

first_packet find_first_packet(const source_file& source, int stream) {
  probe_depth followed;
  followed.follow_program = true;
  program_request request = confined_request(ffprobe_command(), source);
  request.argv.insert(request.argv.end(),
                      {"-select_streams", std::to_string(stream), "-read_intervals", "%+#1", "-of",
                       "csv=p=0", "-show_entries", "packet=pts_time,pos"});
  add_input(request.argv, source.url(), {}, followed);
  set_budget(request, picture_budget(late_stream_time_limit));
  const program_result result = run_program(request);
  first_packet found;
  const std::size_t comma = result.output.find(',');
  if (!result.success() || comma == std::string::npos) { return found; }
  found.time = std::strtod(result.output.c_str(), nullptr);
  found.position = std::strtoll(result.output.c_str() + comma + 1, nullptr, 10);
  return found;
}

// A stream that begins late is unclear to a probe of the usual depth: it is looked for, and the
// probe made as deep as it must be. One that never begins stays unclear.
bool clear_late_stream(const source_file& source, std::string_view format, media_info& info,
                       std::string& error, bool* interrupted) {
  const unclear_stream* wanted = info.wanted();
  if (wanted == nullptr) { return true; }
  const first_packet found = find_first_packet(source, wanted->index);
  const double late = std::max(0.0, found.time - info.start);
  const probe_depth usual;
  const bool was_within_reach =
      found.position < usual.bytes - probe_margin_bytes && late < usual.seconds - probe_margin_s;
  if (found.position < 0 || was_within_reach || found.position > deepest_probe ||
      late > longest_media_s) {
    return true;
  }
  probe_depth deeper;
  deeper.bytes = std::max(usual.bytes, found.position + probe_margin_bytes);
  deeper.seconds = std::max(usual.seconds, static_cast<int>(late) + probe_margin_s);
  return read_report(source, format, deeper, info, error, interrupted);
}

double longest_length() {
  return configured().longest_hours * 3600.0;
}

template <typename stream_type>
void doubt_length(stream_type& stream) {
  if (stream.duration > longest_length()) { stream.duration = 0.0; }
}

bool is_mostly_holes(const source_file& source, std::string& error) {
  if (!source.is_mostly_holes()) { return false; }
  error = "is mostly holes: " + size_text(source.data_size()) + " of data in " +
          size_text(static_cast<std::uint64_t>(source.size()));
  return true;
}

// A broadcast clock that jumps makes the difference of last and first time worth nothing.
void judge_clock(const source_file& source, media_info& info) {
  if (info.container == "mpegts" && !transport_clock_is_even(source.fd())) {
    info.duration_estimated = true;
  }
  if (info.container == "mpeg") { info.duration_estimated = true; }
}

// The last checks of a file whose report could be read.
bool is_usable(const source_file& source, const media_info& info, std::string& error) {
  if (!source.unchanged()) { return refuse(error, "changed while it was read"); }
  log_media(info);
  if (info.video.empty() && info.audio.empty()) {
    return refuse(error, "contains nothing that can be decoded");
  }
  return true;
}

struct result_answers {
  program_result report;
  program_result packets;
};

// Both take most of their time to start, on one processor each.
result_answers ask_at_once(const source_file& result, packet_timeline& timeline) {
  const probe_depth usual;
  packet_reader reader(timeline);
  program_group group;
  group.start(report_request(result, {}, usual));
  group.start(packet_request(result, usual), reader);
  result_answers answers;
  while (group.count() > 0) {
    run_observer* of = nullptr;
    program_result ended = group.wait_for_one(of);
    (of == nullptr ? answers.report : answers.packets) = std::move(ended);
  }
  return answers;
}

}  // namespace

bool probe_media(const std::string& path, media_info& info, std::string& error, probe_kinds kinds,
                 bool* interrupted) {
  source_file source;
  if (!source.open(path, error) || is_mostly_holes(source, error)) { return false; }
  std::string_view still;
  if (kinds == probe_kinds::stills_too) { still = still_format(source); }
  if (!read_report(source, still, {}, info, error, interrupted)) { return false; }
  if (!clear_late_stream(source, still, info, error, interrupted)) { return false; }
  judge_clock(source, info);
  info.still = !still.empty();
  return is_usable(source, info, error);
}

bool probe_result(const std::string& path, media_info& info, packet_timeline& timeline,
                  std::string& error, bool* interrupted) {
  source_file result;
  if (!result.open(path, error) || is_mostly_holes(result, error)) { return false; }
  const result_answers answers = ask_at_once(result, timeline);
  if (!take_report(answers.report, result, {}, info, error, interrupted)) { return false; }
  if (!answers.packets.success()) { return refuse(error, answers.packets, result, interrupted); }
  return is_usable(result, info, error);
}

bool measure_streams(const std::string& path, const probe_depth& depth, packet_timeline& timeline,
                     std::string& error, bool* interrupted) {
  source_file source;
  if (!source.open(path, error)) { return false; }
  packet_reader reader(timeline);
  const program_result result = run_program(packet_request(source, depth), reader);
  return result.success() || refuse(error, result, source, interrupted);
}

bool measure_duration(const std::string& path, const media_info& info, int stream_index,
                      double frame_rate, double& duration, std::string& error) {
  packet_timeline timeline(info.clock_may_jump());
  if (!measure_streams(path, info.depth, timeline, error)) { return false; }
  duration = timeline.length_of(stream_index, frame_rate);
  log_length("stream " + std::to_string(stream_index) + ", measured:", duration);
  return duration > 0.0 ? is_acceptable_length(duration, error) : refuse(error, "has no duration");
}

void doubt_lengths(media_info& info) {
  std::for_each(info.video.begin(), info.video.end(), doubt_length<video_stream>);
  std::for_each(info.audio.begin(), info.audio.end(), doubt_length<audio_stream>);
  if (info.duration <= longest_length()) { return; }
  info.duration = 0.0;
  info.duration_estimated = true;
}

bool is_acceptable_length(double duration, std::string& error) {
  if (duration <= longest_length()) { return true; }
  error = "lasts " + std::to_string(std::lround(duration / 3600.0)) + " h, more than the " +
          std::to_string(configured().longest_hours) + " h of length.max_hours";
  return false;
}
