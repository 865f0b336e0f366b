#include "exec/stuck_child.h"

#include <csignal>
#include <cstdio>

#include "platform/clock.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"

namespace {

constexpr unsigned last_step_s = 60;  // from the cancel to SIGTERM
constexpr unsigned stopped_s = 10;    // from SIGTERM to SIGCONT
constexpr unsigned ignoring_s = 60;   // from SIGTERM to SIGKILL
constexpr std::uint64_t second_us = 1000000;

void plan_signal(QueueItem& item, int signal_number, std::uint64_t time_us) {
  item.proc_ending_signal = signal_number;
  item.proc_ending_time = time_us;
}

void print_signal(const QueueItem& item, unsigned seconds, const char* event, const char* sent) {
  fprintf(stderr, "Item '%s' (%s) process %d is still running %u s after %s, sending %s\n",
          item.input_file.c_str(), item.entry_id.c_str(), item.proc_pid, seconds, event, sent);
}

}  // namespace

void limit_last_step(QueueItem& item) {
  if (item.proc_pid == -1) { return; }
  plan_signal(item, SIGTERM, monotonic_clock_us() + last_step_s * second_us);
}

void limit_termination(QueueItem& item) {
  const bool is_limited = item.proc_ending_time != 0 && item.proc_ending_signal != SIGTERM;
  if (item.proc_pid == -1 || is_limited) { return; }
  plan_signal(item, SIGCONT, monotonic_clock_us() + stopped_s * second_us);
}

void end_stuck_child(QueueItem& item) {
  if (item.proc_ending_signal == 0 || item.proc_pid == -1 || DIE != 0 ||
      monotonic_clock_us() < item.proc_ending_time) {
    return;
  }
  switch (item.proc_ending_signal) {
  case SIGTERM:
    print_signal(item, last_step_s, "the cancel", "SIGTERM");
    item.shutdown_proc();
    break;
  case SIGCONT:
    print_signal(item, stopped_s, "SIGTERM", "SIGCONT");
    item.signal_proc_group(SIGCONT);
    plan_signal(item, SIGKILL, item.proc_ending_time + (ignoring_s - stopped_s) * second_us);
    break;
  default:
    print_signal(item, ignoring_s, "SIGTERM", "SIGKILL");
    item.signal_proc_group(SIGKILL);
    plan_signal(item, 0, item.proc_ending_time);
    break;
  }
}
