#include "queue/process_state.h"

#include <cstdlib>

#include <sys/sysinfo.h>

#include "platform/clock.h"

std::atomic<std::uint32_t> DIE{0};
// The signal handler may only touch a lock-free object.
static_assert(std::atomic<std::uint32_t>::is_always_lock_free);
bool uptime_wait = false;
std::uint64_t next_queue_scan = 0;
std::uint64_t next_background_write_queue = 0;
std::uint64_t next_early_turn = 0;
bool all_turns_due = true;

namespace {

constexpr std::uint32_t most_signals = 19;
constexpr long uptime_threshold_s = 300;
constexpr std::uint64_t background_write_delay_us = 10000000;
constexpr std::uint64_t early_turn_us = 5000;

}  // namespace

void sigma(int) {
  if (++DIE > most_signals) { abort(); }
}

void check_uptime() {
  struct sysinfo info {};
  if (sysinfo(&info) == 0) { uptime_wait = info.uptime < uptime_threshold_s; }
}

void trigger_background_write_queue() {
  next_background_write_queue = monotonic_clock_us() + background_write_delay_us;
}

void trigger_transcode_queue_scan() {
  next_queue_scan = monotonic_clock_us();
}

void trigger_all_turns() {
  all_turns_due = true;
}

void trigger_early_turn() {
  next_early_turn = monotonic_clock_us() + early_turn_us;
}
