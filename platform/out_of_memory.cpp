#include "platform/out_of_memory.h"

#include <cstdint>
#include <cstdio>

#include "platform/clock.h"

namespace {

constexpr std::uint64_t pause_us = 1000000;

// What was printed last, and when. While memory is short the same thing fails again and again.
const char* last_text = nullptr;
std::uint64_t last_time = 0;

}  // namespace

void tell_out_of_memory(const char* what) {
  const std::uint64_t now_us = monotonic_clock_us();
  if (what == last_text && now_us - last_time < pause_us) { return; }
  last_text = what;
  last_time = now_us;
  fprintf(stderr, "Out of memory: %s\n", what);
}
