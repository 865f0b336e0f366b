#include "tools/qxmi_vod_transcode/spread/folder_guard.h"

#include <utility>

#include "tools/qxmi_vod_transcode/spread/shared_folder.h"

namespace {

constexpr std::chrono::seconds look_interval{1};
constexpr std::chrono::seconds lease_interval{lease_renewal_s};

}  // namespace

void folder_guard::show(std::int64_t work) const {
  const std::int64_t frames = line_ != nullptr ? line_->done() : 0;
  write_task_progress(folder_, note_, task_, {frames, work});
}

bool folder_guard::is_wanted() {
  next_lease_ = clock_type::now() + lease_interval;
  return lease_.is_valid(clock_type::now());
}

bool folder_guard::holds(std::int64_t work_done) {
  const clock_type::time_point now = clock_type::now();
  if (now >= next_look_) {
    next_look_ = now + look_interval;
    refresh_folder(folder_);
    paused_ = is_paused(folder_);
    show(work_done + 1);  // 0 is that of a task that has not begun
  }
  if (now >= next_lease_) { is_wanted(); }
  follow_signals(now);
  return paused_;
}

// The signal to continue arrives before the file is removed, so the last look is out of date.
void folder_guard::follow_signals(clock_type::time_point now) {
  if (std::exchange(continued_, times_continued()) == times_continued()) { return; }
  paused_ = false;
  next_look_ = now + look_interval;
}
