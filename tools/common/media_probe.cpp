// Asks ffprobe what a file is.
#include "tools/common/media_probe.h"

#include "tools/common/engine.h"
#include "tools/common/job_log.h"
#include "tools/common/media_report.h"
#include "tools/common/process_runner.h"
#include "tools/common/source_file.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace {

// Reads "pts_time,duration_time" lines. Packets come in decoding order, so the end is the largest
// sum and not the last.
class packet_clock : public run_observer {
public:
  void on_line(std::string_view line) override {
    const std::string text(line);
    char* end = nullptr;
    const double time = std::strtod(text.c_str(), &end);
    ++packets_;
    if (end == text.c_str()) return;
    const double length = *end == ',' ? std::strtod(end + 1, nullptr) : 0.0;
    first_ = timed_ ? std::min(first_, time) : time;
    last_ = timed_ ? std::max(last_, time + length) : time + length;
    timed_ = true;
  }

  bool on_tick(const child_process&, bool) override { return false; }

  // Packets without a clock are frames of a constant rate.
  double duration(double frame_rate) const {
    if (timed_) return last_ - first_;
    return frame_rate > 0.0 ? static_cast<double>(packets_) / frame_rate : 0.0;
  }

private:
  long packets_ = 0;
  bool timed_ = false;
  double first_ = 0.0;
  double last_ = 0.0;
};

std::string_view still_format(const source_file& source) {
  char head[16];
  const ssize_t count = pread(source.fd(), head, sizeof head, 0);
  return count > 0 ? sniff_still({head, static_cast<std::size_t>(count)}) : std::string_view();
}

program_request report_request(const source_file& source, std::string_view format) {
  program_request request;
  request.argv = ffprobe_command();
  request.argv.insert(request.argv.end(),
                      {"-of", "json=c=1", "-show_entries", media_report_entries});
  add_input(request.argv, source.url(), format);
  request.time_limit = probe_time_limit;
  return request;
}

bool refuse(std::string& error, std::string cause) {
  error = std::move(cause);
  return false;
}

void log_media(const media_info& info) {
  log_length(info.container + (info.duration_estimated ? ", estimated:" : ", told:"),
             info.duration);
  for (const video_stream& video : info.video) {
    log_length("stream " + std::to_string(video.index) + ", " + video.codec + " " +
                   std::to_string(video.coded.width) + "x" + std::to_string(video.coded.height) +
                   ", told:",
               video.duration);
  }
  for (const audio_stream& audio : info.audio) {
    log_length("stream " + std::to_string(audio.index) + ", " + audio.codec + " " +
                   std::to_string(audio.channels) + " channels, told:",
               audio.duration);
  }
}

}  // namespace

bool probe_media(const std::string& path, media_info& info, std::string& error, probe_kinds kinds) {
  source_file source;
  if (!source.open(path, error)) return false;
  std::string_view still;
  if (kinds == probe_kinds::stills_too) still = still_format(source);
  const program_result result = run_program(report_request(source, still));
  const std::string version = engine_version(result.output);
  if (!version.empty()) log_note("engine version", version);
  if (!result.success()) return refuse(error, engine_cause(result, source.url()));
  if (!read_media_report(result.output, info)) return refuse(error, "the probe told nothing");
  if (!source.unchanged()) return refuse(error, "changed while it was read");
  info.still = !still.empty();
  log_media(info);
  if (info.video.empty() && info.audio.empty()) return refuse(error, "holds nothing to decode");
  return true;
}

bool measure_duration(const std::string& path, int stream_index, double frame_rate,
                      double& duration, std::string& error) {
  source_file source;
  if (!source.open(path, error)) return false;
  program_request request;
  request.argv = ffprobe_command();
  request.argv.insert(request.argv.end(),
                      {"-of", "csv=p=0", "-select_streams", std::to_string(stream_index),
                       "-show_entries", "packet=pts_time,duration_time"});
  add_input(request.argv, source.url());
  request.time_limit = measure_time_limit;
  packet_clock clock;
  const program_result result = run_program(request, clock);
  if (!result.success()) return refuse(error, engine_cause(result, source.url()));
  duration = clock.duration(frame_rate);
  log_length("stream " + std::to_string(stream_index) + ", measured:", duration);
  return duration > 0.0 || refuse(error, "has no length");
}
