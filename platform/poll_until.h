// Waiting for descriptors until a monotonic deadline.
#pragma once

#include <algorithm>
#include <cstdint>

#include <poll.h>

#include "platform/clock.h"

// poll() with a monotonic deadline in microseconds. The result is poll's, -1 with errno EINTR when
// a signal came.
inline int poll_until(pollfd* descriptors, nfds_t count, std::uint64_t deadline_us) {
  constexpr std::uint64_t longest_wait_us = 3600000000U;
  std::uint64_t const now = monotonic_clock_us();
  std::uint64_t const wait_us =
      deadline_us > now ? std::min(deadline_us - now, longest_wait_us) : 0;
  timespec const timeout{static_cast<time_t>(wait_us / 1000000U),
                         static_cast<long>(wait_us % 1000000U) * 1000};
  return ppoll(descriptors, count, &timeout, nullptr);
}
