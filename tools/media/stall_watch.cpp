#include "tools/media/stall_watch.h"

#include <algorithm>
#include <tuple>

namespace {

// If more time has passed since the last tick, this process itself was stopped.
constexpr stall_watch::duration longest_tick = std::chrono::seconds(1);

bool differ(const work_sign& a, const work_sign& b) {
  return std::tie(a.done, a.output_size, a.output_time) !=
         std::tie(b.done, b.output_size, b.output_time);
}

}  // namespace

bool stall_watch::stalled(duration now, const work_sign& sign, bool stopped) {
  if (!begun_ || differ(sign, last_sign_)) {
    idle_ = duration::zero();
  } else if (!stopped) {
    const duration waited = sign.processor_wait - last_sign_.processor_wait;
    idle_ += std::min(now - last_now_, longest_tick) - std::max(waited, duration::zero());
    idle_ = std::max(idle_, duration::zero());
  }
  begun_ = true;
  last_sign_ = sign;
  last_now_ = now;
  return patience_ > duration::zero() && idle_ >= patience_;
}
