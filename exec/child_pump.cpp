// The pump, which knows the pipes and the process, but not the child's purpose.
#include "exec/child_pump.h"

#include <cassert>
#include <cstdio>

#include <sys/wait.h>
#include <unistd.h>

#include "exec/held_signal.h"
#include "platform/limited_look.h"
#include "platform/sliding_window_v4.h"
#include "queue/descriptor.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"

// Operators know these assertions from the logs, so they use the plain field names.

namespace {

// Output that a child prints after its reader has gone is drained, so that the child can end: as
// much as a pipe holds.
void discard_output(int fd) {
  char block[16384];
  for (int i = 0; i < 4 && read(fd, block, sizeof(block)) > 0; ++i) {
    trigger_early_turn();
  }
}

void pump_stdin(QueueItem& item) {
  sliding_window_v4* const proc_stdin_buffer = item.proc_stdin_buffer;
  if (proc_stdin_buffer == nullptr || item.proc_stdin_write_fd == -1) { return; }
  assert(sliding_window_v4_is_sane(proc_stdin_buffer));
  std::size_t const waiting_bytes = sliding_window_v4_data_available(proc_stdin_buffer);
  bool end_input = waiting_bytes == 0;
  if (!end_input &&
      sliding_window_v4_empty_to_fd(proc_stdin_buffer, item.proc_stdin_write_fd, 0) < 0) {
    fprintf(stderr, "Item '%s' (%s) EOF before completing STDIN (%zu bytes in window)\n",
            item.input_file.c_str(), item.entry_id.c_str(),
            sliding_window_v4_data_available(proc_stdin_buffer));
    end_input = true;
  }
  if (end_input) {
    close_descriptor(item.proc_stdin_write_fd);
    close_descriptor(item.proc_stdin_read_fd);
  }
}

// True if bytes arrived, which sets `bytes_read`, or the output ended.
bool pump_stdout(QueueItem& item, bool& bytes_read) {
  sliding_window_v4* const proc_stdout_buffer = item.proc_stdout_buffer;
  if (proc_stdout_buffer == nullptr || item.proc_stdout_read_fd == -1) { return false; }
  assert(sliding_window_v4_is_sane(proc_stdout_buffer));
  sliding_window_v4_lazy_flush(proc_stdout_buffer);
  assert(sliding_window_v4_is_sane(proc_stdout_buffer));
  if (sliding_window_v4_can_write(proc_stdout_buffer) == 0) {
    if (item.sm.state != item.proc_sm.state) { discard_output(item.proc_stdout_read_fd); }
    return false;
  }
  const ssize_t got =
      sliding_window_v4_refill_from_fd(proc_stdout_buffer, item.proc_stdout_read_fd, 0);
  assert(sliding_window_v4_is_sane(proc_stdout_buffer));
  if (got < 0) {
    fprintf(stderr, "Item '%s' (%s) EOF on stdout (%zu bytes in window)\n", item.input_file.c_str(),
            item.entry_id.c_str(), sliding_window_v4_data_available(proc_stdout_buffer));
    close_descriptor(item.proc_stdout_write_fd);
    close_descriptor(item.proc_stdout_read_fd);
    return true;
  }
  bytes_read = got > 0;
  item.proc_stdout_seen = item.proc_stdout_seen || bytes_read;
  return bytes_read;
}

bool may_reap(const QueueItem& item) {
  return !item.proc_drain_stdout_before_reap ||
         (item.proc_stdout_read_fd == -1 && item.proc_stdout_write_fd == -1 &&
          item.proc_stdout_buffer == nullptr);
}

// The output that the child wrote last.
void read_last_output(QueueItem& item) {
  sliding_window_v4* const proc_stdout_buffer = item.proc_stdout_buffer;
  if (proc_stdout_buffer == nullptr) { return; }
  assert(sliding_window_v4_is_sane(proc_stdout_buffer));
  sliding_window_v4_lazy_flush(proc_stdout_buffer);
  assert(sliding_window_v4_is_sane(proc_stdout_buffer));
  if (item.proc_stdout_read_fd != -1) {
    sliding_window_v4_refill_from_fd(proc_stdout_buffer, item.proc_stdout_read_fd, 0);
    assert(sliding_window_v4_is_sane(proc_stdout_buffer));
  }
}

}  // namespace

pump_result pump_child(QueueItem& item) {
  if (item.proc_pid == -1) { return {}; }
  pump_stdin(item);
  bool bytes_read = false;
  const bool active = pump_stdout(item, bytes_read);
  // A child may end with output still in the pipe, so a turn that read bytes does not reap it.
  if (bytes_read || !may_reap(item) ||
      waitpid(item.proc_pid, &item.proc_status, WNOHANG) != item.proc_pid) {
    send_held_signal(item);
    return {active, false};
  }
  item.proc_reaped = true;
  read_last_output(item);
  return {true, true};
}

void forget_child(QueueItem& item) {
  item.proc_pid = -1;
  item.proc_reaped = false;
  item.proc_held_signal = 0;
  item.proc_ending_signal = 0;
  item.proc_ending_time = 0;
  item.close_proc_stdin();
  item.close_proc_stdout();
  item.proc_argv.clear();
  forget_late_look(item.input_file);  // the child may have changed the source
}
