#include "exec/held_signal.h"

#include <csignal>

#include "exec/child_signals.h"
#include "platform/clock.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"

namespace {

// How long after its start a tool may take to install its handlers; one that has none by then never
// will. Also how long a resume waits for a tool that has not taken the preceding pause.
constexpr std::uint64_t signal_patience_us = 2000000;

}  // namespace

void expect_handlers(QueueItem& item) {
  item.proc_patience_end = monotonic_clock_us() + signal_patience_us;
  item.proc_held_signal = 0;
}

// If sent too early, the signal would be lost, or end a tool that has no handler yet. It also waits
// until the tool has taken the opposite signal, since the kernel does not keep the two in order. A
// resume does not wait for that forever: a tool that suspends itself inside its handler cannot take
// a second pause until it is resumed.
void send_held_signal(QueueItem& item) {
  if (item.proc_held_signal == 0) { return; }
  if (item.sm.state != TRANSCODE_TRANSCODING) {
    item.proc_held_signal = 0;  // it has been asked to end since
    return;
  }
  const bool has_patience = monotonic_clock_us() < item.proc_patience_end;
  const child_signals child = read_child_signals(item.proc_pid);
  const bool waits_for_other = item.proc_held_signal == SIGUSR1
                                   ? has_signal(child.pending, SIGUSR2)
                                   : has_patience && has_signal(child.pending, SIGUSR1);
  if (!child.is_tool || waits_for_other ||
      (has_patience && !has_signal(child.caught, item.proc_held_signal))) {
    if (has_patience) { trigger_early_turn(); }
    return;
  }
  item.signal_proc_group(item.proc_held_signal);
  item.proc_held_signal = 0;
}

void tell_transcoder(QueueItem& item, int signal_number) {
  if (item.proc_pid == -1) { return; }
  const bool is_taken_back = item.proc_held_signal != 0 && item.proc_held_signal != signal_number;
  item.proc_held_signal = is_taken_back ? 0 : signal_number;
  if (item.proc_held_signal == SIGUSR2 &&
      has_signal(read_child_signals(item.proc_pid).pending, SIGUSR1)) {
    item.proc_patience_end = monotonic_clock_us() + signal_patience_us;
  }
  send_held_signal(item);
}
