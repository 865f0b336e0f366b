#include "service/shutdown.h"

#include <csignal>
#include <cstdio>

#include <unistd.h>

#include "control/control_server.h"
#include "platform/clock.h"
#include "platform/comm_socket_v4.h"
#include "platform/out_of_memory.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"
#include "queue/transcode_queue.h"

namespace {

constexpr std::uint64_t grace_us = 10000000;
constexpr std::uint64_t grace_poll_us = 500000;

void ask_to_end(QueueItem& item) {
  item.shutdown_proc();
  if (item.sm.state == TRANSCODE_TRANSCODING) {
    with_memory("the status of a job was not written", [&] {
      item.state_message = "Transcode will restart when transcode service resumes";
      item.fileops_write_status();
    });
  }
  item.idle();
}

// Gives the item its turn. True while its child, or output of it, is left.
bool is_still_running(QueueItem& item) {
  item.idle();
  const bool has_process = item.proc_pid != -1;
  const bool has_output = item.proc_stdout_read_fd != -1 || item.proc_stdout_write_fd != -1 ||
                          item.proc_stdout_buffer != nullptr;
  if (!has_process && !has_output) { return false; }
  fprintf(stderr, "proc=%u stdout=%d\n", has_process ? 1U : 0U, has_output ? 1 : 0);
  return true;
}

bool any_still_running() {
  bool any = false;
  for (QueueItem* item : transcode_queue) {
    if (item != nullptr && is_still_running(*item)) { any = true; }
  }
  return any;
}

// Waits until the next look at the children; what clients have not read yet is delivered meanwhile.
void wait_for_next_look() {
  std::uint64_t const end = monotonic_clock_us() + grace_poll_us;
  comm_socket_v4_deliver(server_socket, end);
  std::uint64_t const now = monotonic_clock_us();
  if (now < end) { usleep(static_cast<useconds_t>(end - now)); }
}

// True if all children ended within the grace period.
bool wait_for_children(std::uint64_t deadline) {
  for (;;) {
    with_memory("requests were not answered", handle_server_socket);
    if (monotonic_clock_us() >= deadline) { return false; }
    if (transcode_queue.empty() || !any_still_running()) { return true; }
    wait_for_next_look();
  }
}

void kill_children() {
  for (QueueItem* item : transcode_queue) {
    if (item != nullptr) {
      item->signal_proc_group(SIGKILL);
      item->proc_pid = -1;
      item->idle();
    }
  }
}

}  // namespace

void shutdown_transcode_queue_processes() {
  std::uint64_t const deadline = monotonic_clock_us() + grace_us;
  for (QueueItem* item : transcode_queue) {
    if (item == nullptr) {
      fputs(null_item_warning, stderr);
    } else {
      ask_to_end(*item);
    }
  }
  if (!wait_for_children(deadline)) { kill_children(); }
}

void shutdown_transcode_queue() {
  while (!transcode_queue.empty()) {
    QueueItem* const item = transcode_queue.front();
    transcode_queue.pop_front();
    ++transcode_queue_mod_count;
    if (item == nullptr) { fputs(null_item_warning, stderr); }
    delete item;
  }
}
