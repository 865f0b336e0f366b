// The main loop. A pass never blocks, except for one bounded wait when there is nothing to do.
#include "service/main_loop.h"

#include <algorithm>
#include <cstdio>

#include <unistd.h>

#include "control/control_server.h"
#include "lifecycle/scheduler.h"
#include "platform/clock.h"
#include "platform/comm_socket_v4.h"
#include "platform/limited_look.h"
#include "platform/out_of_memory.h"
#include "platform/standard_error.h"
#include "queue/process_state.h"
#include "queue/queue_file.h"

namespace {

// Children are polled; this is the longest delay until the end of one is noticed.
constexpr std::uint64_t idle_wait_us = 80000;

// Without memory there is only this, so that the loop does not spin.
constexpr useconds_t short_wait_us = 5000;

void wait_for_client() {
  std::uint64_t deadline = monotonic_clock_us() + idle_wait_us;
  if (next_early_turn != 0) {
    deadline = std::min(deadline, next_early_turn);
    next_early_turn = 0;
  }
  const bool has_waited = with_memory("clients were not waited for", [deadline] {
    comm_socket_v4_server_from_client_readable(server_socket, deadline);
  });
  if (!has_waited) { usleep(short_wait_us); }
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
    if (!with_memory("the queue file was not written", write_queue)) {
      trigger_background_write_queue();  // nothing is wrong with the disk
    }
  }
}

}  // namespace

void run_main_loop() {
  while (DIE == 0) {
    bool is_broken = false;
    bool is_active = false;
    with_memory("clients were not served", [&] { is_broken = handle_server_socket() < 0; });
    if (is_broken) { return; }
    with_memory("the queue had no turn", [&] { is_active = idle_transcode_queue(); });
    if (!is_active) { wait_for_client(); }
    with_memory("answers of mounts were not read", collect_late_looks);
    idle_uptime();
    idle_background_write();
    flush_standard_error();
  }
}
