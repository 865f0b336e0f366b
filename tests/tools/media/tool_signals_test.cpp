// The signals a tool obeys.
#include <csignal>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tools/media/output_file.h"
#include "tools/media/process_runner.h"
#include "tools/media/tool_signals.h"

using namespace std::chrono_literals;

namespace {

class tool_signals : public testing::Test {
protected:
  void SetUp() override { ASSERT_TRUE(catch_tool_signals()); }

  static void arrive(int number) {
    raise(number);
    read_tool_signals();
  }
};

// A request to stop cannot be taken back, so each one is made in a separate process.
void expect_in_child(bool (*check)()) {
  EXPECT_EXIT(_exit(check() ? 0 : 1), testing::ExitedWithCode(0), "");
}

using tool_signals_death = tool_signals;

// Raises `number` in the tool at the first tick.
struct raiser : run_observer {
  explicit raiser(int number) : number_(number) {}
  void on_line(std::string_view) override {}
  bool on_tick(const child_process&, bool suspended) override {
    if (ticks_++ == 0) { raise(number_); }
    if (suspended && ++suspended_ticks == 10) { raise(SIGUSR2); }
    return false;
  }
  int suspended_ticks = 0;

private:
  int number_;
  int ticks_ = 0;
};

program_end end_of_sleep_with(int number) {
  program_request request;
  request.argv = {"/bin/sleep", "60"};
  raiser observer(number);
  return run_program(request, observer).end;
}

// Asks the tool to stop once its program has ended, before that end is noticed.
struct late_stop : run_observer {
  void on_line(std::string_view) override {}
  bool on_tick(const child_process&, bool) override {
    siginfo_t ended = {};
    if (!is_done_ && waitid(P_ALL, 0, &ended, WEXITED | WNOWAIT) == 0) { raise(SIGTERM); }
    is_done_ = true;
    return false;
  }

private:
  bool is_done_ = false;
};

}  // namespace

TEST_F(tool_signals, there_are_no_requests_at_first) {
  read_tool_signals();
  EXPECT_EQ(stop_signal(), 0);
  EXPECT_FALSE(suspend_wanted());
  EXPECT_EQ(end_of_tool(7), 7);
}

TEST_F(tool_signals, user_signals_suspend_and_continue) {
  arrive(SIGUSR1);
  EXPECT_TRUE(suspend_wanted());
  arrive(SIGUSR2);
  EXPECT_FALSE(suspend_wanted());
}

TEST_F(tool_signals_death, the_first_request_to_stop_is_kept) {
  expect_in_child([] {
    arrive(SIGINT);
    arrive(SIGTERM);
    return stop_signal() == SIGINT;
  });
}

TEST_F(tool_signals_death, the_tool_dies_by_the_signal_that_stopped_it) {
  EXPECT_EXIT(
      {
        raise(SIGTERM);
        _exit(end_of_tool(0));
      },
      testing::KilledBySignal(SIGTERM), "");
}

TEST_F(tool_signals_death, a_request_to_stop_ends_a_running_program) {
  expect_in_child([] { return end_of_sleep_with(SIGTERM) == program_end::tool_stopped; });
}

TEST_F(tool_signals_death, a_request_to_stop_explains_a_program_that_ended_with_it) {
  expect_in_child([] {
    program_request request;
    request.argv = {"/bin/sh", "-c", "kill -TERM $$"};
    late_stop observer;
    return run_program(request, observer).end == program_end::tool_stopped;
  });
}

TEST_F(tool_signals_death, a_request_to_stop_keeps_an_output_from_its_name) {
  expect_in_child([] {
    char folder[] = "/tmp/qx_signals.XXXXXX";
    if (mkdtemp(folder) == nullptr) { return false; }
    const std::string path = std::string(folder) + "/out";
    std::string error;
    bool is_kept_back = false;
    {
      output_file output;
      if (!output.create(path, error)) { return false; }
      arrive(SIGTERM);
      is_kept_back = !output.commit(error) && access(path.c_str(), F_OK) != 0;
    }
    return is_kept_back && rmdir(folder) == 0;
  });
}

TEST_F(tool_signals_death, a_request_to_stop_ends_the_wait_for_another_tool) {
  expect_in_child([] {
    char folder[] = "/tmp/qx_signals.XXXXXX";
    if (mkdtemp(folder) == nullptr) { return false; }
    const std::string path = std::string(folder) + "/out";
    std::string error;
    bool is_stopped = false;
    {
      output_file first;
      output_file second;
      if (!first.create(path, error)) { return false; }
      raise(SIGTERM);
      is_stopped = !second.create(path, error, 1h) && error == "stopped";
    }
    return is_stopped && rmdir(folder) == 0;
  });
}

TEST_F(tool_signals_death, a_request_to_stop_ends_a_suspended_program) {
  expect_in_child([] {
    arrive(SIGUSR1);
    return end_of_sleep_with(SIGTERM) == program_end::tool_stopped;
  });
}

TEST_F(tool_signals, time_spent_suspended_is_not_counted) {
  program_request request;
  request.argv = {"/bin/sleep", "0.1"};
  request.time_limit = 450ms;
  raiser observer(SIGUSR1);
  EXPECT_TRUE(run_program(request, observer).success());
  EXPECT_EQ(observer.suspended_ticks, 10);
}

TEST_F(tool_signals_death, missing_standard_descriptors_are_filled) {
  EXPECT_EXIT(
      {
        close(0);
        close(1);
        const bool caught = catch_tool_signals();
        struct stat status = {};
        _exit(caught && fstat(0, &status) == 0 && fstat(1, &status) == 0 ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}
