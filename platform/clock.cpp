// The two clocks. They have this file to themselves so that a test can replace them.
#include "platform/clock.h"

#include <ctime>

namespace {

std::uint64_t read_clock_us(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);  // cannot fail for the two clocks used here
  return static_cast<std::uint64_t>(now.tv_sec) * 1000000 +
         static_cast<std::uint64_t>(now.tv_nsec) / 1000;
}

}  // namespace

std::uint64_t monotonic_clock_us() {
  return read_clock_us(CLOCK_MONOTONIC);
}

std::uint64_t gettimeofday_us() {
  return read_clock_us(CLOCK_REALTIME);
}
