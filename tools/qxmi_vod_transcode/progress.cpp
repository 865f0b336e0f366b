#include "tools/qxmi_vod_transcode/progress.h"

#include <algorithm>
#include <cstdlib>

#include <poll.h>
#include <unistd.h>

#include "rules/transcoder_contract.h"

namespace {

// Promised is twice a second.
constexpr std::chrono::milliseconds line_interval{400};

}  // namespace

void progress_line::begin_at(std::int64_t frame) {
  begin_ = frame;
  parts_.clear();
  count();
}

void progress_line::begin_part(int part, std::int64_t lead) {
  parts_[part].lead = lead;
}

void progress_line::end_part(int part, std::int64_t finished) {
  parts_.erase(part);
  begin_ += finished;
  count();
}

// An engine that makes only the sound beside others says nothing of the whole.
void progress_line::count() {
  std::int64_t done = begin_;
  double fps = 0.0;
  double speed = 0.0;
  for (const auto& [number, part] : parts_) {
    done += std::max<std::int64_t>(0, part.done - part.lead);
    if (picture_ && part.done == 0) { continue; }
    fps += part.fps;
    speed += part.speed;
  }
  done_ = std::min(total_, std::max(done_, done));
  if (parts_.empty()) { return; }
  fps_ = fps;
  speed_ = speed;
}

bool progress_line::take(std::string_view line, int part) {
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) { return false; }
  const std::string_view key = line.substr(0, equals);
  const std::string value(line.substr(equals + 1));
  report& now = parts_[part];
  if (key == "frame" && picture_) {
    now.done = std::atoll(value.c_str());
  } else if (key == "out_time_us" && !picture_) {
    now.done = std::atoll(value.c_str()) / std::chrono::microseconds(sound_frame).count();
  } else if (key == "fps") {
    now.fps = std::atof(value.c_str());
  } else if (key == "speed") {
    now.speed = std::atof(value.c_str());
  }
  count();
  return key == "progress";
}

std::string progress_line::format(std::int64_t done) const {
  return progress_line_text(done, total_, fps_, speed_);
}

void progress_output::write_line(const std::string& line, std::chrono::milliseconds patience) {
  last_ = std::chrono::steady_clock::now();
  pollfd room = {STDOUT_FILENO, POLLOUT, 0};
  if (reader_gone_ || poll(&room, 1, static_cast<int>(patience.count())) <= 0) { return; }
  const std::string bytes = line + "\n";
  reader_gone_ = write(STDOUT_FILENO, bytes.data(), bytes.size()) < 0;
}

bool progress_output::due() const {
  return std::chrono::steady_clock::now() - last_ >= line_interval;
}
