// The pump: feeds a child's input, reads its output, and reaps it, without ever waiting.
#include <cassert>
#include <cstdio>

#include <sys/wait.h>
#include <unistd.h>

#include "exec/slots.h"
#include "platform/sliding_window_v4.h"
#include "queue/descriptor.h"
#include "queue/queue_item.h"
#include "service/process_state.h"

namespace {

// What a child prints after nobody listens any more is taken off its pipe, so that it can end: as
// much as a pipe holds.
void discard_output(int fd) {
  char block[16384];
  for (int i = 0; i < 4 && read(fd, block, sizeof(block)) > 0; ++i) {
    trigger_early_turn();
  }
}

}  // namespace

bool QueueItem::idle_process() {
  bool active = false;
  if (proc_pid != -1) {
    pump_stdin();
    bool bytes_read = false;
    active = pump_stdout(bytes_read);
    // A child may end with output still in the pipe, so a turn that read bytes does not reap.
    if (!bytes_read && may_reap() && waitpid(proc_pid, &proc_status, WNOHANG) == proc_pid) {
      reap();
      active = true;
    } else {
      send_held_signal();
    }
  }
  finish_pending_cancel();
  return active;
}

void QueueItem::pump_stdin() {
  if (proc_stdin_buffer == nullptr || proc_stdin_write_fd == -1) { return; }
  assert(sliding_window_v4_is_sane(proc_stdin_buffer));
  std::size_t const waiting_bytes = sliding_window_v4_data_available(proc_stdin_buffer);
  bool end_input = waiting_bytes == 0;
  if (!end_input && sliding_window_v4_empty_to_fd(proc_stdin_buffer, proc_stdin_write_fd, 0) < 0) {
    fprintf(stderr, "Item '%s' (%s) EOF before completing STDIN (%zu bytes in window)\n",
            input_file.c_str(), entry_id.c_str(),
            sliding_window_v4_data_available(proc_stdin_buffer));
    end_input = true;
  }
  if (end_input) {
    close_descriptor(proc_stdin_write_fd);
    close_descriptor(proc_stdin_read_fd);
  }
}

// True when bytes came or the output ended; `bytes_read` tells which.
bool QueueItem::pump_stdout(bool& bytes_read) {
  if (proc_stdout_buffer == nullptr || proc_stdout_read_fd == -1) { return false; }
  assert(sliding_window_v4_is_sane(proc_stdout_buffer));
  sliding_window_v4_lazy_flush(proc_stdout_buffer);
  assert(sliding_window_v4_is_sane(proc_stdout_buffer));
  if (sliding_window_v4_can_write(proc_stdout_buffer) == 0) {
    if (sm.state != proc_sm.state) { discard_output(proc_stdout_read_fd); }
    return false;
  }
  const ssize_t got = sliding_window_v4_refill_from_fd(proc_stdout_buffer, proc_stdout_read_fd, 0);
  assert(sliding_window_v4_is_sane(proc_stdout_buffer));
  if (got < 0) {
    fprintf(stderr, "Item '%s' (%s) EOF on stdout (%zu bytes in window)\n", input_file.c_str(),
            entry_id.c_str(), sliding_window_v4_data_available(proc_stdout_buffer));
    close_descriptor(proc_stdout_write_fd);
    close_descriptor(proc_stdout_read_fd);
    return true;
  }
  bytes_read = got > 0;
  proc_stdout_seen = proc_stdout_seen || bytes_read;
  return bytes_read;
}

bool QueueItem::may_reap() const {
  return !proc_drain_stdout_before_reap ||
         (proc_stdout_read_fd == -1 && proc_stdout_write_fd == -1 && proc_stdout_buffer == nullptr);
}

// The child is gone: takes what it wrote last, has its end judged and forgets it.
void QueueItem::reap() {
  proc_reaped = true;
  if (proc_stdout_buffer != nullptr) {
    assert(sliding_window_v4_is_sane(proc_stdout_buffer));
    sliding_window_v4_lazy_flush(proc_stdout_buffer);
    assert(sliding_window_v4_is_sane(proc_stdout_buffer));
    if (proc_stdout_read_fd != -1) {
      sliding_window_v4_refill_from_fd(proc_stdout_buffer, proc_stdout_read_fd, 0);
      assert(sliding_window_v4_is_sane(proc_stdout_buffer));
    }
  }
  on_proc_terminate(proc_status);
  proc_pid = -1;
  proc_reaped = false;
  proc_held_signal = 0;
  close_proc_stdin();
  close_proc_stdout();
  proc_argv.clear();
}

void QueueItem::finish_pending_cancel() {
  if (sm.state == TRANSCODE_CANCELLING && !is_running()) {
    sm.set_state(TRANSCODE_CANCELLED);
    item_in_action_remove_self(this);
    fileops_write_status();
  }
}
