// External programs: their environment, their output, and how they end.
#include <csignal>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/tool_run.h"
#include "tests/support/wait_until.h"
#include "tools/job_log/job_log.h"
#include "tools/job_log/job_log_file.h"
#include "tools/media/process_runner.h"
#include "tools/media/tool_signals.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

program_request shell(const std::string& script) {
  program_request request;
  request.argv = {"/bin/sh", "-c", script};
  request.time_limit = 30s;
  return request;
}

std::string output_of(const std::string& script) {
  return run_program(shell(script)).output;
}

struct line_collector : run_observer {
  void on_line(std::string_view line) override { lines.emplace_back(line); }
  bool on_tick(const child_process&, bool) override {
    ++ticks;
    return false;
  }
  std::vector<std::string> lines;
  int ticks = 0;
};

// A named pipe.
class scratch_pipe {
public:
  scratch_pipe() { EXPECT_EQ(mkfifo(path().c_str(), 0600), 0); }
  std::string path() const { return folder_.file("pipe"); }

private:
  qx_test::scratch_folder folder_;
};

}  // namespace

TEST(run_program, gives_output_errors_and_status) {
  const program_result result = run_program(shell("echo out; echo err >&2; exit 3"));
  EXPECT_EQ(result.end, program_end::exited);
  EXPECT_EQ(result.exit_status, 3);
  EXPECT_EQ(result.output, "out\n");
  EXPECT_EQ(result.errors, "err\n");
  EXPECT_FALSE(result.success());
}

TEST(run_program, succeeds_with_status_0) {
  EXPECT_TRUE(run_program(shell("true")).success());
}

TEST(run_program, arguments_never_meet_a_shell) {
  program_request request;
  request.argv = {"/bin/echo", "$HOME `id` 'a' *", "a\nb"};
  EXPECT_EQ(run_program(request).output, "$HOME `id` 'a' * a\nb\n");
}

TEST(run_program, a_program_that_cannot_run_is_reported_with_the_cause) {
  program_request request;
  request.argv = {"/nowhere/tool"};
  const program_result result = run_program(request);
  EXPECT_EQ(result.end, program_end::not_started);
  EXPECT_EQ(result.cause(), "cannot run /nowhere/tool: No such file or directory");
}

TEST(run_program, standard_input_is_empty) {
  EXPECT_EQ(output_of("cat; echo end"), "end\n");
}

TEST(run_program, environment_is_fixed) {
  setenv("SECRET", "x", 1);
  program_request request;
  request.argv = {"/usr/bin/env"};
  EXPECT_EQ(run_program(request).output, "PATH=/usr/bin:/bin\nLC_ALL=C\n");
}

TEST(run_program, no_descriptor_is_inherited) {
  const int leaked = open("/dev/null", O_RDONLY);
  ASSERT_GT(leaked, 2);
  program_request request;
  request.argv = {"/bin/ls", "/proc/self/fd"};
  EXPECT_EQ(run_program(request).output, "0\n1\n2\n3\n");  // 3 is the listing itself
  close(leaked);
}

TEST(run_program, user_signals_are_ignored_and_all_others_have_their_default) {
  signal(SIGPIPE, SIG_IGN);
  const std::string ignored = output_of("grep SigIgn /proc/self/status");
  const unsigned long mask = std::stoul(ignored.substr(ignored.find('\t')), nullptr, 16);
  EXPECT_EQ(mask, (1UL << (SIGUSR1 - 1)) | (1UL << (SIGUSR2 - 1)));
}

TEST(run_program, no_signal_is_blocked) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTERM);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  EXPECT_THAT(output_of("grep SigBlk /proc/self/status"), HasSubstr("\t0000000000000000"));
}

TEST(run_program, stays_in_the_process_group_of_the_tool) {
  EXPECT_EQ(output_of("cut -d' ' -f5 /proc/self/stat"), std::to_string(getpgrp()) + "\n");
}

TEST(run_program, time_limit_ends_it) {
  program_request request = shell("exec sleep 60");
  request.time_limit = 100ms;
  const program_result result = run_program(request);
  EXPECT_EQ(result.end, program_end::timed_out);
  EXPECT_EQ(result.cause(), "the time limit has expired");
}

TEST(run_program, too_much_output_ends_it) {
  program_request request = shell("exec yes");
  request.output_limit = 100000;
  const program_result result = run_program(request);
  EXPECT_EQ(result.end, program_end::too_much_output);
  EXPECT_LT(result.output.size(), 200000U);
}

TEST(run_program, the_first_and_the_last_of_many_errors_are_kept) {
  const program_result result = run_program(
      shell("i=0; while [ $i -lt 2000 ]; do echo error $i >&2; i=$((i+1)); done; exit 1"));
  EXPECT_LE(result.errors.size(), 8192U);
  EXPECT_THAT(result.errors, testing::StartsWith("error 0\nerror 1\n"));
  EXPECT_EQ(result.cause(), "error 1999");
}

TEST(run_program, all_output_is_there_when_it_ends) {
  EXPECT_EQ(output_of("head -c 500000 /dev/zero").size(), 500000U);
}

TEST(run_program, a_fatal_signal_is_reported) {
  const program_result result = run_program(shell("kill -9 $$"));
  EXPECT_EQ(result.end, program_end::killed);
  EXPECT_EQ(result.cause(), "ended by Killed");
}

TEST(run_program, a_silent_failure_is_reported_by_its_exit_status) {
  EXPECT_EQ(run_program(shell("exit 7")).cause(), "exit status 7");
}

TEST(run_program, a_left_over_process_with_the_pipe_does_not_block_it) {
  const auto begin = std::chrono::steady_clock::now();
  const program_result result = run_program(shell("sleep 30 & echo $!"));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
  kill(std::stoi(result.output), SIGKILL);
}

TEST(run_program, hands_out_whole_lines) {
  line_collector lines;
  const program_result result =
      run_program(shell("printf 'one\\ntw'; printf 'o\\n\\nrest'"), lines);
  EXPECT_TRUE(result.success());
  EXPECT_THAT(lines.lines, ElementsAre("one", "two", ""));
}

TEST(run_program, ticks_while_there_is_no_output) {
  line_collector lines;
  run_program(shell("sleep 0.5"), lines);
  EXPECT_GE(lines.ticks, 5);
}

TEST(run_program, counts_an_unknown_exit_status_as_a_failure) {
  std::signal(SIGCHLD, SIG_IGN);
  const program_result result = run_program(shell("exit 0"));
  std::signal(SIGCHLD, SIG_DFL);
  EXPECT_EQ(result.end, program_end::exited);
  EXPECT_FALSE(result.success());
}

TEST(run_program, a_line_without_end_ends_it) {
  program_request request = shell("exec tr '\\0' x < /dev/zero");
  request.output_limit = 100000;
  line_collector lines;
  EXPECT_EQ(run_program(request, lines).end, program_end::too_much_output);
}

TEST(run_program, an_observer_can_hold_it) {
  struct holder : line_collector {
    bool on_tick(const child_process& child, bool suspended) override {
      line_collector::on_tick(child, suspended);
      used.push_back(child.cpu_time());
      return ticks < 20;
    }
    // Once it has worked after the last tick that held it.
    bool gives_up() const override { return ticks > 20 && used.back() > used[19]; }
    std::vector<std::chrono::nanoseconds> used;  // at each tick
  } holder;
  const program_result result = run_program(shell("while :; do :; done"), holder);
  EXPECT_EQ(result.end, program_end::given_up);
  EXPECT_LT(holder.used[19] - holder.used[2], 100ms) << "of 850 ms";
}

TEST(run_program, time_in_which_its_observer_suspends_it_does_not_count) {
  struct suspender : line_collector {
    bool on_tick(const child_process& child, bool suspended) override {
      line_collector::on_tick(child, suspended);
      return suspends();
    }
    bool suspends() const override { return ticks < 30; }
  } suspender;
  program_request request = shell("sleep 0.2; exit 3");
  request.time_limit = 1000ms;
  EXPECT_EQ(run_program(request, suspender).end, program_end::exited);
}

TEST(run_program, a_stall_ends_it) {
  line_collector lines;
  program_request request = shell("echo first; exec sleep 60");
  request.stall_limit = 200ms;
  const program_result result = run_program(request, lines);
  EXPECT_EQ(result.end, program_end::stalled);
  EXPECT_EQ(result.cause(), "engine stalled");
}

TEST(run_program, is_not_stalled_while_it_is_held) {
  struct holder : line_collector {
    bool on_tick(const child_process& child, bool suspended) override {
      line_collector::on_tick(child, suspended);
      return ticks < 30;
    }
  } holder;
  program_request request = shell("true");
  request.stall_limit = 500ms;
  EXPECT_TRUE(run_program(request, holder).success());
}

TEST(run_program, is_not_stalled_while_it_works) {
  struct worker : line_collector {
    std::int64_t work_done() const override { return static_cast<std::int64_t>(lines.size()); }
  } worker;
  program_request request =
      shell("i=0; while [ $i -lt 12 ]; do echo $i; sleep 0.1; i=$((i+1)); done");
  request.stall_limit = 1000ms;
  EXPECT_TRUE(run_program(request, worker).success());
}

TEST(run_program, a_flood_of_output_does_not_outlast_the_time_limit) {
  struct deaf : line_collector {
    void on_line(std::string_view) override {}
  } deaf;
  program_request request = shell("exec yes");
  request.time_limit = 300ms;
  EXPECT_EQ(run_program(request, deaf).end, program_end::timed_out);
}

TEST(run_program, a_limit_of_processor_time_ends_it) {
  program_request request;
  const unique_fd zeros(open("/dev/zero", O_RDONLY | O_CLOEXEC));
  request.argv = {"/usr/bin/sha256sum", "/proc/self/fd/" + std::to_string(zeros.get())};
  request.confined_to.emplace().processor_time = 1s;
  request.confined_to->readable = {zeros.get()};
  const program_result result = run_program(request);
  EXPECT_EQ(result.end, program_end::timed_out) << result.cause();
  EXPECT_EQ(result.cause(), "the time limit has expired");
}

TEST(child_process, tells_how_long_it_has_waited_for_a_processor) {
  child_process spinning;
  std::string error;
  ASSERT_TRUE(spinning.start({"/bin/sh", "-c", "while :; do :; done"}, {}, nullptr, error))
      << error;
  EXPECT_TRUE(qx_test::wait_until([&] { return spinning.processor_wait() > 0ns; }));
}

TEST(program_group, gives_the_result_of_each_program_with_its_observer) {
  program_group group;
  line_collector first;
  line_collector second;
  group.start(shell("echo first; exec sleep 60"), first);
  group.start(shell("echo second; exit 3"), second);
  EXPECT_EQ(group.count(), 2U);
  run_observer* ended = nullptr;
  EXPECT_EQ(group.wait_for_one(ended).exit_status, 3);
  EXPECT_EQ(ended, &second);
  EXPECT_THAT(second.lines, ElementsAre("second"));
  EXPECT_EQ(group.count(), 1U);
}

TEST(program_group, collects_the_output_of_a_program_without_an_observer) {
  program_group group;
  line_collector first;
  group.start(shell("exec sleep 60"), first);
  group.start(shell("echo second"));
  run_observer* ended = &first;
  EXPECT_EQ(group.wait_for_one(ended).output, "second\n");
  EXPECT_EQ(ended, nullptr);
}

TEST(program_group, runs_its_programs_at_the_same_time) {
  const scratch_pipe meeting;
  program_group group;
  line_collector first;
  line_collector second;
  // Each opens its end only together with the other.
  group.start(shell("echo met > " + meeting.path()), first);
  group.start(shell("cat " + meeting.path()), second);
  run_observer* ended = nullptr;
  EXPECT_TRUE(group.wait_for_one(ended).success());
  EXPECT_TRUE(group.wait_for_one(ended).success());
  EXPECT_THAT(second.lines, ElementsAre("met"));
}

// A process that it has left holds its output open.
TEST(program_group, does_not_wait_for_the_output_of_one_before_it_looks_at_the_others) {
  struct clocked : line_collector {
    void on_line(std::string_view) override { at.push_back(std::chrono::steady_clock::now()); }
    std::vector<std::chrono::steady_clock::time_point> at;
  };
  program_group group;
  clocked leaving;
  clocked working;
  group.start(shell("sleep 5 & sleep 0.5"), leaving);
  group.start(shell("i=0; while [ $i -lt 25 ]; do echo $i; sleep 0.1; i=$((i+1)); done"), working);
  run_observer* ended = nullptr;
  group.wait_for_one(ended);
  EXPECT_EQ(ended, &leaving);
  std::chrono::steady_clock::duration longest{0};
  for (std::size_t i = 1; i < working.at.size(); ++i) {
    longest = std::max(longest, working.at[i] - working.at[i - 1]);
  }
  EXPECT_GT(working.at.size(), 3U);
  EXPECT_LT(longest, 800ms);
}

// What an observer does then may take a while.
TEST(program_group, is_stopped_as_a_whole_before_an_observer_hears_of_the_suspension) {
  struct slow_observer : line_collector {
    bool on_tick(const child_process&, bool suspended) override {
      if (suspended && !heard) { others_were_stopped = is_stopped(other->lines.at(0)); }
      heard = heard || suspended;
      return false;
    }
    bool gives_up() const override { return heard; }
    static bool is_stopped(const std::string& pid) {
      return qx_test::wait_until([&] { return qx_test::process_state(std::stoi(pid)) == 'T'; }, 5s);
    }
    const line_collector* other = nullptr;
    bool heard = false;
    bool others_were_stopped = false;
  };
  struct suspender : line_collector {
    bool on_tick(const child_process&, bool suspended) override {
      if (!suspended && !lines.empty()) { kill(getpid(), SIGUSR1); }
      return false;
    }
  };
  ASSERT_TRUE(catch_tool_signals());
  slow_observer first;
  suspender second;
  first.other = &second;
  program_group group;
  group.start(shell("exec sleep 60"), first);
  group.start(shell("echo $$; exec sleep 60"), second);
  run_observer* ended = nullptr;
  group.wait_for_one(ended);
  EXPECT_TRUE(first.others_were_stopped);
  kill(getpid(), SIGUSR2);
  read_tool_signals();
}

TEST(program_group, kills_what_still_runs_at_its_end) {
  line_collector observer;
  {
    program_group group;
    line_collector quick;
    group.start(shell("echo $$; exec sleep 60"), observer);
    group.start(shell("sleep 0.2"), quick);
    run_observer* ended = nullptr;
    group.wait_for_one(ended);
  }
  ASSERT_EQ(observer.lines.size(), 1U);
  EXPECT_EQ(kill(std::stoi(observer.lines[0]), 0), -1);
}

TEST(program_group, logs_the_end_of_what_still_runs_at_its_end) {
  const qx_test::scratch_folder folder;
  const std::string metadata = metadata_folder_of(folder.file("film.mpg"));
  ASSERT_EQ(mkdir(metadata.c_str(), 0700), 0);
  char name[] = "tool";
  char* arguments[] = {name, nullptr};
  open_job_log("tool", metadata, folder.file("film.mpg"), {1, arguments});
  {
    program_group group;
    line_collector observer;
    group.start(shell("exec sleep 60"), observer);
  }
  close_job_log(0, 0);
  EXPECT_THAT(read_job_log(folder.file("film.mpg")), HasSubstr("given up"));
}

TEST(program_group, reports_a_program_that_cannot_run) {
  program_group group;
  line_collector observer;
  program_request request;
  request.argv = {"/nowhere/tool"};
  group.start(request, observer);
  run_observer* ended = nullptr;
  EXPECT_EQ(group.wait_for_one(ended).end, program_end::not_started);
}
