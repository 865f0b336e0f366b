// The main loop. A pass never blocks, except for one bounded wait when there is nothing to do.
#include "service/main_loop.h"

#include <algorithm>
#include <cstdio>

#include "control/control_server.h"
#include "lifecycle/scheduler.h"
#include "platform/clock.h"
#include "platform/comm_socket_v4.h"
#include "platform/limited_look.h"
#include "platform/standard_error.h"
#include "queue/process_state.h"
#include "queue/queue_file.h"

namespace {

// Children are polled; this is the longest delay until the end of one is noticed.
constexpr std::uint64_t idle_wait_us = 80000;

void wait_for_client() {
  std::uint64_t deadline = monotonic_clock_us() + idle_wait_us;
  if (next_early_turn != 0) {
    deadline = std::min(deadline, next_early_turn);
    next_early_turn = 0;
  }
  comm_socket_v4_server_from_client_readable(server_socket, deadline);
}

void idle_uptime() {
  if (!uptime_wait) { return; }
  check_uptime();
  if (!uptime_wait) {
    fprintf(stderr, "System uptime large enough, auto transcoding will start\n");
  }
}

// Kept on purpose: the deadline is cleared before the write, so a failed write is not retried.
// Effect: the change reaches the disk with the next add, remove, or shutdown.
void idle_background_write() {
  if (next_background_write_queue != 0 && monotonic_clock_us() >= next_background_write_queue) {
    next_background_write_queue = 0;
    write_queue();
  }
}

}  // namespace

void run_main_loop() {
  while (DIE == 0) {
    if (handle_server_socket() < 0) { return; }
    if (!idle_transcode_queue()) { wait_for_client(); }
    collect_late_looks();
    idle_uptime();
    idle_background_write();
    flush_standard_error();
  }
}
