// The two clocks. Nothing else stands in this file, so that a test can bring clocks of its own.
#include "platform/clock.h"

#include <ctime>

namespace {

std::uint64_t read_clock_us(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);  // cannot fail for the clocks asked for here
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
