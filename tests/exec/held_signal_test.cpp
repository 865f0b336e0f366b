// When a transcoder gets the signal to suspend or continue: not before it can take it, not before
// it has taken the opposite one, and not indefinitely late.
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "exec/child_signals.h"
#include "exec/held_signal.h"
#include "platform/sliding_window_v4.h"
#include "queue/process_state.h"
#include "tests/exec/exec_bench.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using ::testing::HasSubstr;

namespace {

constexpr std::uint64_t patience_us = 2000000;

class held_signal : public exec_bench {
protected:
  held_signal() : item_(add_item(TRANSCODE_TRANSCODING)) { next_early_turn = 0; }
  ~held_signal() override { end_child(); }
  void end_child() {
    if (item_.proc_pid == -1) { return; }
    item_.signal_proc_group(SIGKILL);
    waitpid(item_.proc_pid, nullptr, 0);
    item_.proc_pid = -1;
    item_.close_proc_stdout();
  }

  // A transcoder that can take the signals once the test calls arm(), and ends after end().
  void start_script() {
    start({"/bin/sh", "-c",
           "until test -e \"$0/arm\"; do sleep 0.01; done;"
           "trap 'echo suspended' USR1; trap 'echo continued' USR2; echo armed;"
           "until test -e \"$0/end\"; do sleep 0.01; done; echo over; exec sleep 1000",
           folder_});
    EXPECT_TRUE(wait_until([&] { return read_child_signals(item_.proc_pid).is_tool; }));
  }
  void start(const strings& argv) {
    item_.proc_argv = argv;
    ASSERT_TRUE(item_.open_proc_stdout());
    ASSERT_TRUE(item_.proc_spawn());
  }
  // A tool without handlers; the options of env apply to both signals.
  void start_sleep(const std::string& options) {
    start({"/bin/sh", "-c", "exec env " + options + "=USR1,USR2 sleep 1000"});
    ASSERT_TRUE(wait_until([&] {
      return read_file("/proc/" + std::to_string(item_.proc_pid) + "/comm") == "sleep\n";
    }));
  }
  bool is_pending(int number) const {
    return has_signal(read_child_signals(item_.proc_pid).pending, number);
  }
  void give_turns() {
    for (int i = 0; i < 10; ++i) {
      turn(item_);
    }
  }
  void arm() const { write_file(folder_ + "/arm", ""); }
  void end() const { write_file(folder_ + "/end", ""); }

  // Gives the item turns until its transcoder has printed this text.
  bool prints(const std::string& text) {
    wait_until([&] {
      turn(item_);
      return item_.proc_pid == -1 || output().find(text) != std::string::npos;
    });
    return output().find(text) != std::string::npos;
  }
  std::string output() const {
    if (item_.proc_stdout_buffer == nullptr) { return "(ended)"; }
    const auto* const bytes = reinterpret_cast<const char*>(item_.proc_stdout_buffer->read_pos);
    return {bytes, sliding_window_v4_data_available(item_.proc_stdout_buffer)};
  }

  QueueItem& item_;
};

}  // namespace

TEST_F(held_signal, reaches_the_transcoder_once_it_has_a_handler) {
  start_script();
  tell_transcoder(item_, SIGUSR1);
  turn(item_);
  arm();
  EXPECT_TRUE(prints("suspended\n"));
  end();
  EXPECT_TRUE(prints("over\n"));
  EXPECT_EQ(output(), "armed\nsuspended\nover\n") << "and once";
}

TEST_F(held_signal, is_cancelled_by_the_opposite_one) {
  start_script();
  tell_transcoder(item_, SIGUSR1);
  tell_transcoder(item_, SIGUSR2);
  arm();
  EXPECT_TRUE(prints("armed\n"));
  end();
  EXPECT_TRUE(prints("over\n"));
  EXPECT_EQ(output(), "armed\nover\n");
}

TEST_F(held_signal, is_forgotten_when_the_transcoder_is_ended) {
  start_script();
  tell_transcoder(item_, SIGUSR1);
  item_.sm.set_state(TRANSCODE_CANCELLING);
  arm();
  EXPECT_TRUE(prints("armed\n"));
  item_.sm.set_state(TRANSCODE_TRANSCODING);
  end();
  EXPECT_TRUE(prints("over\n"));
  EXPECT_EQ(output(), "armed\nover\n");
}

TEST_F(held_signal, does_not_reach_the_next_transcoder) {
  start({"/bin/sleep", "1000"});
  tell_transcoder(item_, SIGUSR1);
  item_.signal_proc_group(SIGKILL);
  EXPECT_TRUE(wait_until([&] { return turn(item_) && item_.proc_pid == -1; }));
  item_.sm.set_state(TRANSCODE_TRANSCODING);
  start_script();
  arm();
  EXPECT_TRUE(prints("armed\n"));
  end();
  EXPECT_TRUE(prints("over\n"));
  EXPECT_EQ(output(), "armed\nover\n");
}

TEST_F(held_signal, is_finally_sent_to_a_tool_that_never_handles_it) {
  start({"/bin/sleep", "1000"});
  ASSERT_TRUE(wait_until([&] { return read_child_signals(item_.proc_pid).is_tool; }));
  tell_transcoder(item_, SIGUSR1);
  clock_us += patience_us - 1;
  for (int i = 0; i < 10; ++i) {
    turn(item_);
  }
  EXPECT_NE(item_.proc_pid, -1);
  clock_us += 1;
  EXPECT_TRUE(wait_until([&] { return turn(item_) && item_.proc_pid == -1; }));
  EXPECT_EQ(item_.proc_status, killed_by(SIGUSR1));
}

TEST_F(held_signal, is_never_sent_to_a_child_before_its_exec) {
  item_.proc_pid = fork();
  if (item_.proc_pid == 0) {
    setsid();
    for (;;) {
      pause();
    }
  }
  ASSERT_TRUE(wait_until([&] { return getpgid(item_.proc_pid) == item_.proc_pid; }));
  clock_us += patience_us;
  tell_transcoder(item_, SIGUSR1);
  for (int i = 0; i < 10; ++i) {
    turn(item_);
  }
  EXPECT_EQ(waitpid(item_.proc_pid, nullptr, WNOHANG), 0);
}

// A tool that blocks the signals and reads them later would see the two in no particular order.
TEST_F(held_signal, waits_until_the_opposite_one_is_taken) {
  for (const auto& [first, second] : {std::pair{SIGUSR1, SIGUSR2}, {SIGUSR2, SIGUSR1}}) {
    start_sleep("--block-signal");
    clock_us += patience_us;
    tell_transcoder(item_, first);
    EXPECT_TRUE(is_pending(first));
    tell_transcoder(item_, second);
    give_turns();
    EXPECT_FALSE(is_pending(second));
    end_child();
  }
}

// A tool that is suspended in its handler has the signal blocked there: a second pause stays
// pending.
TEST_F(held_signal, to_continue_reaches_a_tool_with_a_pending_pause) {
  start_sleep("--block-signal");
  clock_us += 10 * patience_us;
  tell_transcoder(item_, SIGUSR1);
  tell_transcoder(item_, SIGUSR2);
  clock_us += patience_us - 1;
  give_turns();
  EXPECT_FALSE(is_pending(SIGUSR2));
  clock_us += 1;
  give_turns();
  EXPECT_TRUE(is_pending(SIGUSR2));
}

TEST_F(held_signal, to_suspend_waits_as_long_as_it_takes) {
  start_sleep("--block-signal");
  clock_us += patience_us;
  tell_transcoder(item_, SIGUSR2);
  tell_transcoder(item_, SIGUSR1);
  clock_us += 10 * patience_us;
  give_turns();
  EXPECT_FALSE(is_pending(SIGUSR1));
}

// In a shutdown the job stays in "transcoding".
TEST_F(held_signal, is_forgotten_when_everything_is_shut_down) {
  start_sleep("--ignore-signal=TERM --block-signal");
  tell_transcoder(item_, SIGUSR1);
  item_.shutdown_proc();
  clock_us += patience_us;
  give_turns();
  EXPECT_FALSE(is_pending(SIGUSR1));
}

TEST_F(held_signal, makes_the_next_turn_come_early) {
  start({"/bin/sleep", "1000"});
  turn(item_);
  EXPECT_EQ(next_early_turn, 0U) << "nothing is held";
  tell_transcoder(item_, SIGUSR1);
  EXPECT_EQ(next_early_turn, clock_us + 5000);
  next_early_turn = 0;
  turn(item_);
  EXPECT_EQ(next_early_turn, clock_us + 5000);
}

TEST_F(held_signal, does_nothing_without_a_child) {
  tell_transcoder(item_, SIGUSR1);
  start_script();
  arm();
  end();
  EXPECT_TRUE(prints("over\n"));
  EXPECT_EQ(output(), "armed\nover\n");
}
