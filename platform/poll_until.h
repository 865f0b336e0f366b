// Waits for descriptors with a deadline on the monotonic clock.
#pragma once

#include <cerrno>
#include <cstdint>
#include <ctime>

#include <poll.h>

#include "platform/clock.h"

// Returns positive if an entry is ready, 0 at the deadline or if a signal arrived, negative with
// errno set on an error.
inline int poll_until(pollfd* entries, nfds_t count, std::uint64_t deadline_us) {
  const std::uint64_t now = monotonic_clock_us();
  const std::uint64_t left = deadline_us > now ? deadline_us - now : 0;
  const timespec timeout{static_cast<time_t>(left / 1000000),
                         static_cast<long>(left % 1000000) * 1000};
  const int ready = ppoll(entries, count, &timeout, nullptr);
  return ready < 0 && errno == EINTR ? 0 : ready;
}
