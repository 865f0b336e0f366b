// The two clocks, in microseconds. Deadlines and intervals use the monotonic clock only.
#pragma once

#include <cstdint>

// Time since an unspecified start. Never goes backwards; meaningless after a reboot; never 0 on a
// running machine.
std::uint64_t monotonic_clock_us();

// Wall clock time since 1970. It can jump.
std::uint64_t gettimeofday_us();
