// The two clocks, in microseconds. Deadlines and intervals are of the monotonic one only.
#pragma once

#include <cstdint>

// Never set back, of no meaning outside this boot; never 0 on a running machine.
std::uint64_t monotonic_clock_us();

// Wall clock time since 1970. It can jump.
std::uint64_t gettimeofday_us();
