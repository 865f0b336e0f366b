// The main loop's passes, its timers and the shutdown flag, with everything they call replaced.
#include <csignal>
#include <functional>
#include <string>
#include <vector>

#include <sys/sysinfo.h>

#include <gmock/gmock.h>

#include "control/control_server.h"
#include "lifecycle/scheduler.h"
#include "platform/clock.h"
#include "platform/comm_socket_v4.h"
#include "platform/standard_error.h"
#include "queue/process_state.h"
#include "queue/queue_file.h"
#include "service/main_loop.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

std::vector<std::string> calls;
std::vector<std::uint64_t> write_times;  // of the queue
std::uint64_t clock_us = 0;
int socket_result = 0;
bool scheduler_result = false;
long uptime_s = 100000;
int sysinfo_result = 0;
int standard_error_flushes = 0;
// Called at the end of each wait for clients or, if the loop does not wait, of each pass of the
// scheduler.
std::function<void()> at_turn;

void stop_after(int turns) {
  at_turn = [turns, done = 0]() mutable {
    if (++done == turns) { DIE = 1; }
  };
}

}  // namespace

comm_socket_v4* server_socket = nullptr;

int handle_server_socket() {
  calls.emplace_back("socket");
  return socket_result;
}

bool idle_transcode_queue() {
  calls.emplace_back("queue");
  if (at_turn) { at_turn(); }
  return scheduler_result;
}

int comm_socket_v4_server_from_client_readable(comm_socket_v4*, std::uint64_t deadline_us) {
  calls.push_back("wait " + std::to_string(deadline_us - clock_us));
  return 0;
}

bool write_queue() {
  write_times.push_back(clock_us);
  calls.emplace_back(next_background_write_queue == 0 ? "write" : "write, still armed");
  return true;
}

void collect_late_looks() {}

void flush_standard_error() {
  ++standard_error_flushes;
}

std::uint64_t monotonic_clock_us() {
  return clock_us;
}

extern "C" int sysinfo(struct sysinfo* info) noexcept {
  calls.emplace_back("uptime");
  info->uptime = uptime_s;
  return sysinfo_result;
}

class main_loop : public ::testing::Test {
protected:
  main_loop() {
    calls.clear();
    write_times.clear();
    DIE = 0;
    clock_us = 5000000;
    socket_result = 0;
    scheduler_result = false;
    uptime_s = 100000;
    sysinfo_result = 0;
    uptime_wait = false;
    next_background_write_queue = 0;
    next_early_turn = 0;
    standard_error_flushes = 0;
    stop_after(1);
  }
  static std::string printed_by_loop() {
    ::testing::internal::CaptureStderr();
    run_main_loop();
    return ::testing::internal::GetCapturedStderr();
  }
};

TEST_F(main_loop, serves_clients_then_items_then_waits) {
  stop_after(2);
  run_main_loop();
  EXPECT_THAT(calls, ElementsAre("socket", "queue", "wait 80000", "socket", "queue", "wait 80000"));
}

TEST_F(main_loop, does_not_wait_while_items_work) {
  scheduler_result = true;
  stop_after(2);
  run_main_loop();
  EXPECT_THAT(calls, ElementsAre("socket", "queue", "socket", "queue"));
}

TEST_F(main_loop, waits_only_until_the_early_turn_and_only_once) {
  trigger_early_turn();
  stop_after(2);
  run_main_loop();
  EXPECT_THAT(calls, ElementsAre("socket", "queue", "wait 5000", "socket", "queue", "wait 80000"));
}

TEST_F(main_loop, early_turn_that_is_far_away_changes_nothing) {
  next_early_turn = clock_us + 90000;
  run_main_loop();
  EXPECT_THAT(calls, ElementsAre("socket", "queue", "wait 80000"));
}

TEST_F(main_loop, serves_standard_error_in_every_pass) {
  stop_after(3);
  run_main_loop();
  EXPECT_EQ(standard_error_flushes, 3);
}

TEST_F(main_loop, makes_no_pass_once_a_signal_has_come) {
  DIE = 1;
  run_main_loop();
  EXPECT_THAT(calls, IsEmpty());
}

TEST_F(main_loop, ends_at_once_when_the_socket_fails) {
  socket_result = -1;
  next_background_write_queue = 1;
  run_main_loop();
  EXPECT_THAT(calls, ElementsAre("socket"));
  EXPECT_EQ(DIE, 0);
}

TEST_F(main_loop, writes_the_queue_when_due_and_only_once) {
  next_background_write_queue = clock_us + 2;
  at_turn = [done = 0]() mutable {
    ++clock_us;
    if (++done == 4) { DIE = 1; }
  };
  run_main_loop();
  EXPECT_THAT(calls,
              ElementsAre("socket", "queue", "wait 80000", "socket", "queue", "wait 80000", "write",
                          "socket", "queue", "wait 80000", "socket", "queue", "wait 80000"));
}

TEST_F(main_loop, writes_two_changes_that_are_9_s_apart_once_10_s_after_the_second) {
  constexpr std::uint64_t second_us = 1000000;
  const std::uint64_t begin_us = clock_us;
  trigger_background_write_queue();
  at_turn = [&] {
    clock_us += second_us;
    if (clock_us == begin_us + 9 * second_us) { trigger_background_write_queue(); }
    if (clock_us == begin_us + 60 * second_us) { DIE = 1; }
  };
  run_main_loop();
  EXPECT_THAT(write_times, ElementsAre(begin_us + 19 * second_us));
}

TEST_F(main_loop, checks_the_uptime_and_then_writes_at_the_end_of_a_pass) {
  uptime_wait = true;
  uptime_s = 1;
  next_background_write_queue = clock_us;
  run_main_loop();
  EXPECT_THAT(calls, ElementsAre("socket", "queue", "wait 80000", "uptime", "write"));
  calls.clear();
  DIE = 0;
  next_background_write_queue = clock_us;
  scheduler_result = true;
  stop_after(1);
  run_main_loop();
  EXPECT_THAT(calls, ElementsAre("socket", "queue", "uptime", "write"));
}

TEST_F(main_loop, opens_the_uptime_gate_once_and_says_so) {
  uptime_wait = true;
  uptime_s = 299;
  at_turn = [done = 0]() mutable {
    ++done;
    if (done == 2) { uptime_s = 300; }
    if (done == 4) { DIE = 1; }
  };
  EXPECT_EQ(printed_by_loop(), "System uptime large enough, auto transcoding will start\n");
  EXPECT_FALSE(uptime_wait);
}

TEST_F(main_loop, keeps_the_uptime_gate_open) {
  uptime_s = 1;
  EXPECT_EQ(printed_by_loop(), "");
  EXPECT_FALSE(uptime_wait);
  EXPECT_THAT(calls, ElementsAre("socket", "queue", "wait 80000")) << "and does not look again";
}

TEST(uptime_gate, is_closed_below_300_seconds) {
  sysinfo_result = 0;
  for (const long seconds : {0L, 1L, 299L}) {
    uptime_wait = false;
    uptime_s = seconds;
    check_uptime();
    EXPECT_TRUE(uptime_wait) << seconds;
  }
  for (const long seconds : {300L, 301L, 100000000L}) {
    uptime_s = seconds;
    check_uptime();
    EXPECT_FALSE(uptime_wait) << seconds;
  }
}

TEST(uptime_gate, stays_unchanged_when_the_uptime_is_unknown) {
  sysinfo_result = -1;
  for (const bool before : {true, false}) {
    uptime_wait = before;
    uptime_s = before ? 300 : 0;
    ::testing::internal::CaptureStderr();
    check_uptime();
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(uptime_wait, before);
  }
}

TEST(timers, are_relative_to_now) {
  clock_us = 77;
  trigger_background_write_queue();
  trigger_transcode_queue_scan();
  EXPECT_EQ(next_background_write_queue, 10000077U);
  EXPECT_EQ(next_queue_scan, 77U);
  clock_us = 78;
  trigger_background_write_queue();
  EXPECT_EQ(next_background_write_queue, 10000078U) << "the last change counts";
}

TEST(termination_signals, are_counted_up_to_the_19th) {
  DIE = 0;
  for (int i = 1; i <= 19; ++i) {
    sigma(SIGTERM);
    EXPECT_EQ(DIE, i);
  }
}

TEST(termination_signals, abort_the_process_at_the_20th) {
  DIE = 19;
  EXPECT_EXIT(sigma(SIGINT), ::testing::KilledBySignal(SIGABRT), "^$");
}
