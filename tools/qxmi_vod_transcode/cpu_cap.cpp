#include "tools/qxmi_vod_transcode/cpu_cap.h"

#include <algorithm>
#include <cmath>

namespace {

// How much an encoder that waited for its disk may catch up at once. Short, so that no window of a
// second shows much more than its share.
constexpr std::chrono::milliseconds longest_burst{200};

}  // namespace

cpu_cap::cpu_cap(int percent, int processors)
    : share_(percent * processors / 100.0), processors_(processors) {}

int cpu_cap::useful_threads() const {
  if (!capped()) { return processors_; }
  return std::max(1, static_cast<int>(std::ceil(share_)));
}

bool cpu_cap::must_stop(duration now, duration used, bool suspended) {
  if (!capped()) { return false; }
  if (begun_ && !suspended) {
    const auto earned = std::chrono::duration<double, std::nano>(now - last_now_) * share_;
    allowance_ += std::chrono::duration_cast<duration>(earned) - (used - last_used_);
    const auto most = std::chrono::duration<double, std::nano>(longest_burst) * share_;
    allowance_ = std::min(allowance_, std::chrono::duration_cast<duration>(most));
  }
  begun_ = true;
  last_now_ = now;
  last_used_ = used;
  return allowance_ < duration::zero();
}

bool shared_cap::must_stop(int encoder, cpu_cap::duration now, cpu_cap::duration used,
                           bool suspended) {
  cpu_cap::duration& before = used_[encoder];
  // A time that could not be read counts at the next tick.
  if (used > before) {
    total_ += used - before;
    before = used;
  }
  return cap_.must_stop(now, total_, suspended);
}
