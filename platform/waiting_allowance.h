// How much time the service's one thread may lose to file systems that do not answer.
//
// Only looks without an answer cost anything, so a file system that answers is always waited for.
// The losses are 90 ms at once at most, and half of the time in the long run. The last 40 ms are
// kept for file systems whose last answer came in time: one that is silent or slow cannot take
// them from the others.
#pragma once

#include <algorithm>
#include <cstdint>

// The longest wait for one answer, in microseconds.
constexpr std::uint64_t longest_look_us = 50000;

class waiting_allowance {
public:
  // How long a look may wait from now on, in microseconds: whole milliseconds, since the wait would
  // be rounded up. `is_late`: the last answer of its file system did not come in time.
  std::uint64_t limit(std::uint64_t now_us, bool is_late) {
    left_us_ = std::min(left_us_ + (now_us - time_us_) / 2, longest_look_us + reserve_us);
    time_us_ = now_us;
    const std::uint64_t kept_us = is_late ? std::min(left_us_, reserve_us) : 0;
    const std::uint64_t wait_us = std::min(left_us_ - kept_us, longest_look_us);
    return wait_us - wait_us % millisecond_us;
  }

  // A look has waited this long without an answer.
  void lose(std::uint64_t duration_us) { left_us_ -= std::min(left_us_, duration_us); }

private:
  static constexpr std::uint64_t millisecond_us = 1000;
  static constexpr std::uint64_t reserve_us = 40000;

  std::uint64_t left_us_ = longest_look_us + reserve_us;
  std::uint64_t time_us_ = 0;
};
