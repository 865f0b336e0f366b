// The two clocks.
#include "platform/clock.h"

#include <ctime>

namespace {

std::uint64_t read_clock_us(clockid_t clock) {
  struct timespec now {};
  clock_gettime(clock, &now);  // cannot fail for the clocks asked for here
  return static_cast<std::uint64_t>(now.tv_sec) * 1000000U +
         static_cast<std::uint64_t>(now.tv_nsec) / 1000U;
}

}  // namespace

std::uint64_t monotonic_clock_us() {
  return read_clock_us(CLOCK_MONOTONIC);
}

std::uint64_t gettimeofday_us() {
  return read_clock_us(CLOCK_REALTIME);
}
