// Waits for descriptors with a deadline on the monotonic clock.
#pragma once

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>

#include <poll.h>

#include "platform/clock.h"

// Returns positive if an entry is ready, 0 at the deadline, less than a millisecond after it, or if
// a signal arrived, negative with errno set on an error. A call to ppoll, which is more exact,
// takes a quarter longer.
inline int poll_until(pollfd* entries, nfds_t count, std::uint64_t deadline_us) {
  const std::uint64_t now = monotonic_clock_us();
  const std::uint64_t left = deadline_us > now ? deadline_us - now : 0;
  const std::uint64_t left_ms = std::min<std::uint64_t>((left + 999) / 1000, INT_MAX);
  const int ready = poll(entries, count, static_cast<int>(left_ms));
  return ready < 0 && errno == EINTR ? 0 : ready;
}
