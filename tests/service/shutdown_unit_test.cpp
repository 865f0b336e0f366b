// Shutdown of the service, on a clock that only its own waiting advances.
#include <csignal>
#include <cstdlib>
#include <functional>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "platform/clock.h"
#include "platform/sliding_window_v4.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"
#include "queue/transcode_queue.h"
#include "service/shutdown.h"
#include "tests/support/wait_until.h"

using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

constexpr std::uint64_t start_us = 1000000000;
std::uint64_t clock_us = start_us;
std::function<void()> at_sleep;

// A child in its own process group that survives SIGTERM. It does not outlive the test.
pid_t start_stubborn_child() {
  int ready[2];
  if (pipe(ready) != 0) { return -1; }
  const pid_t pid = fork();
  if (pid == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setpgid(0, 0);
    signal(SIGTERM, SIG_IGN);
    if (write(ready[1], "x", 1) != 1) { _exit(1); }
    for (;;) {
      pause();
    }
  }
  char byte = 0;
  EXPECT_EQ(read(ready[0], &byte, 1), 1);
  close(ready[0]);
  close(ready[1]);
  return pid;
}

int count(const std::string& text, const std::string& part) {
  int found = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++found;
  }
  return found;
}

}  // namespace

std::uint64_t monotonic_clock_us() {
  return clock_us;
}

std::uint64_t gettimeofday_us() {
  return clock_us;
}

extern "C" int usleep(useconds_t time_us) {
  clock_us += time_us;
  if (at_sleep) { at_sleep(); }
  return 0;
}

class end_of_service : public ::testing::Test {
protected:
  end_of_service() {
    DIE = 1;
    clock_us = start_us;
  }
  ~end_of_service() override {
    transcode_queue.clear();
    at_sleep = nullptr;
  }
  QueueItem& add_item(transcode_states state) {
    items.push_back(std::make_unique<QueueItem>());
    items.back()->sm.set_state(state);
    items.back()->state_message = "as before";
    transcode_queue.push_back(items.back().get());
    return *items.back();
  }
  static std::string printed_by(void (*step)()) {
    ::testing::internal::CaptureStderr();
    step();
    return ::testing::internal::GetCapturedStderr();
  }
  std::vector<std::unique_ptr<QueueItem>> items;
};

TEST_F(end_of_service, does_not_wait_when_nothing_runs) {
  add_item(TRANSCODE_READY);
  EXPECT_EQ(printed_by(shutdown_transcode_queue_processes), "");
  EXPECT_EQ(clock_us, start_us);
}

TEST_F(end_of_service, does_not_wait_for_an_empty_queue) {
  EXPECT_EQ(printed_by(shutdown_transcode_queue_processes), "");
  EXPECT_EQ(clock_us, start_us);
}

TEST_F(end_of_service, skips_null_entries_with_a_warning) {
  transcode_queue.push_back(nullptr);
  QueueItem& item = add_item(TRANSCODE_TRANSCODING);
  EXPECT_EQ(printed_by(shutdown_transcode_queue_processes),
            "WARNING: transcode queue has NULL pointer!\n");
  EXPECT_EQ(item.state_message, "Transcode will restart when transcode service resumes");
}

TEST_F(end_of_service, reports_only_interrupted_transcodes_to_users) {
  for (const auto state :
       {TRANSCODE_INIT, TRANSCODE_CANCELLED, TRANSCODE_READY, TRANSCODE_REMOTE, TRANSCODE_THUMBNAIL,
        TRANSCODE_CLEANUP, TRANSCODE_DONE, TRANSCODE_CLEARED}) {
    add_item(state);
  }
  shutdown_transcode_queue_processes();
  for (const auto& item : items) {
    EXPECT_EQ(item->state_message, "as before") << item->sm.state_name();
  }
}

TEST_F(end_of_service, closes_the_pipes_of_every_child_and_keeps_its_pid) {
  QueueItem& item = add_item(TRANSCODE_READY);
  ASSERT_TRUE(item.open_proc_stdout());
  ASSERT_TRUE(QueueItem::_std_open_anonpipe(item.proc_stdin_read_fd, item.proc_stdin_write_fd));
  item.proc_stdin_buffer = sliding_window_v4_create_buffer(16384);
  item.proc_stderr_to_stdout = true;
  const pid_t child = item.proc_pid = start_stubborn_child();
  at_sleep = [&] {
    EXPECT_EQ(item.proc_pid, child);
    for (const int fd : {item.proc_stdin_read_fd, item.proc_stdin_write_fd,
                         item.proc_stdout_read_fd, item.proc_stdout_write_fd}) {
      EXPECT_EQ(fd, -1);
    }
    EXPECT_EQ(item.proc_stdin_buffer, nullptr);
    EXPECT_EQ(item.proc_stdout_buffer, nullptr);
    EXPECT_FALSE(item.proc_stderr_to_stdout);
    kill(child, SIGKILL);
  };
  shutdown_transcode_queue_processes();
  EXPECT_EQ(item.proc_pid, -1);
}

TEST_F(end_of_service, gives_an_item_its_turn_before_asking_the_next_to_end) {
  QueueItem& item = add_item(TRANSCODE_READY);
  const pid_t child = item.proc_pid = start_stubborn_child();
  siginfo_t info{};
  kill(child, SIGKILL);
  waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT);
  transcode_queue.push_back(nullptr);
  EXPECT_EQ(printed_by(shutdown_transcode_queue_processes),
            "Queue item '" + item.entry_id + "' process terminated (status=0x9)\n" +
                "WARNING: transcode queue has NULL pointer!\n");
}

TEST_F(end_of_service, completes_the_cancel_of_killed_items) {
  QueueItem& item = add_item(TRANSCODE_CANCELLING);
  const pid_t child = item.proc_pid = start_stubborn_child();
  shutdown_transcode_queue_processes();
  EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
  waitpid(child, nullptr, 0);
}

TEST_F(end_of_service, kills_remaining_children_after_ten_seconds) {
  QueueItem& item = add_item(TRANSCODE_TRANSCODING);
  const pid_t child = item.proc_pid = start_stubborn_child();
  const std::string printed = printed_by(shutdown_transcode_queue_processes);
  EXPECT_EQ(clock_us, start_us + 10000000);
  EXPECT_EQ(count(printed, "proc=1 stdout=0\n"), 20);
  EXPECT_EQ(item.proc_pid, -1);
  int status = 0;
  ASSERT_TRUE(qx_test::wait_until([&] { return waitpid(child, &status, WNOHANG) == child; }));
  EXPECT_EQ(WTERMSIG(status), SIGKILL);
}

TEST_F(end_of_service, ends_as_soon_as_the_last_child_has) {
  QueueItem& item = add_item(TRANSCODE_TRANSCODING);
  const pid_t child = item.proc_pid = start_stubborn_child();
  at_sleep = [&] {
    if (clock_us != start_us + 1500000) { return; }
    siginfo_t info{};
    kill(child, SIGKILL);
    waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOWAIT);
  };
  const std::string printed = printed_by(shutdown_transcode_queue_processes);
  EXPECT_EQ(clock_us, start_us + 1500000);
  EXPECT_EQ(count(printed, "proc=1 stdout=0\n"), 3);
  EXPECT_THAT(printed, HasSubstr("process terminated (status=0x9)\n"));
  EXPECT_EQ(item.sm.state, TRANSCODE_TRANSCODING) << "the end is not judged";
}

TEST_F(end_of_service, waits_for_unread_output) {
  QueueItem& item = add_item(TRANSCODE_READY);
  const pid_t child = item.proc_pid = start_stubborn_child();
  at_sleep = [&] {
    item.proc_pid = -1;
    if (clock_us == start_us + 500000) {
      EXPECT_TRUE(item.open_proc_stdout());
    } else {
      item.close_proc_stdout();
    }
  };
  EXPECT_EQ(printed_by(shutdown_transcode_queue_processes), "proc=1 stdout=0\nproc=0 stdout=1\n");
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

TEST_F(end_of_service, waits_for_output_that_outlived_its_pipe) {
  QueueItem& item = add_item(TRANSCODE_READY);
  const pid_t child = item.proc_pid = start_stubborn_child();
  at_sleep = [&] {
    item.proc_pid = -1;
    if (clock_us == start_us + 500000) {
      item.proc_stdout_buffer = sliding_window_v4_create_buffer(16384);
    } else {
      item.close_proc_stdout();
    }
  };
  EXPECT_EQ(printed_by(shutdown_transcode_queue_processes), "proc=1 stdout=0\nproc=0 stdout=1\n");
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

TEST_F(end_of_service, empties_the_queue_and_counts_every_removal) {
  transcode_queue = {new QueueItem, nullptr, new QueueItem};
  transcode_queue_mod_count = 5;
  EXPECT_EQ(printed_by(shutdown_transcode_queue), "WARNING: transcode queue has NULL pointer!\n");
  EXPECT_TRUE(transcode_queue.empty());
  EXPECT_EQ(transcode_queue_mod_count, 8U);
}
