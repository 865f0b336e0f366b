// Looks in a helper process: in time, late, never, and broken off.
#include <chrono>
#include <climits>
#include <csignal>
#include <fstream>
#include <functional>
#include <new>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/limited_look.h"
#include "platform/out_of_memory.h"
#include "tests/platform/test_folder.h"
#include "tests/support/wait_until.h"

using qx_test::test_folder;
using qx_test::wait_until;

namespace {

int waited_ms = 0;  // by all calls of poll that ended at their limit
// If set, called before a wait.
std::function<void()> before_wait;
// Waits with this limit or a longer one have none: the answer comes, however crowded the machine.
int endless_from_ms = INT_MAX;

}  // namespace

extern "C" {
int __real_poll(pollfd* entries, nfds_t count, int timeout_ms);
int __wrap_poll(pollfd* entries, nfds_t count, int timeout_ms);

int __wrap_poll(pollfd* entries, nfds_t count, int timeout_ms) {
  if (timeout_ms > 0 && before_wait) { before_wait(); }
  const bool is_endless = timeout_ms >= endless_from_ms;
  const int ready = __real_poll(entries, count, is_endless ? -1 : timeout_ms);
  if (ready == 0) { waited_ms += timeout_ms; }
  return ready;
}
}

namespace {

std::string say(const char* text) {
  return text;
}

// Each test case runs in a process of its own, so all of them start without helpers.
struct limited_look : testing::Test {
  test_folder folder;
  mount_point mount{7, 1, "/mnt/share", false};
  std::string gate = folder.file("gate");

  ~limited_look() override { open_gate(); }

  // Answers once the gate is open.
  look_function wait_at_gate(const std::string& answer) const {
    return [gate = gate, answer] {
      while (access(gate.c_str(), F_OK) != 0) {
        usleep(1000);
      }
      return answer;
    };
  }
  void open_gate() const { std::ofstream file(gate); }
  // On a crowded machine an answer can be late.
  std::optional<std::string> ask(const look_function& look) const {
    std::optional<std::string> answer;
    wait_until([&] {
      answer = look_within_limit(mount, "question", look);
      return answer.has_value();
    });
    return answer;
  }
  // Looks at silent mounts until no more time may be lost to them.
  static void use_up_allowance() {
    static mount_point other{1000, 1, "/mnt/other", false};
    int before = 0;
    do {
      before = waited_ms;
      ++other.id;
      look_within_limit(other, "never", [] {
        pause();
        return say("never");
      });
    } while (waited_ms - before > 2);
  }
  std::optional<std::string> ask_stuck(const std::string& question) const {
    return look_within_limit(mount, question, wait_at_gate("late"));
  }
};

}  // namespace

TEST_F(limited_look, answers) {
  EXPECT_EQ(ask([] { return say("yes"); }), "yes");
}

TEST_F(limited_look, long_answer_is_complete) {
  std::string text(1 << 20, 'x');
  EXPECT_EQ(ask([&] { return text; }), text);
}

TEST_F(limited_look, every_call_looks_again) {
  ask([] { return say("first"); });
  EXPECT_TRUE(wait_until([&] { return ask([] { return say("second"); }) == "second"; }));
}

TEST_F(limited_look, helper_has_no_other_descriptor) {
  const int fd = open("/dev/null", O_RDONLY);
  EXPECT_EQ(ask([fd] { return say(fcntl(fd, F_GETFD) == -1 ? "closed" : "open"); }), "closed");
  close(fd);
}

TEST_F(limited_look, silence_is_not_waited_for) {
  EXPECT_EQ(ask_stuck("q"), std::nullopt);
  EXPECT_LE(waited_ms, 50);
}

TEST_F(limited_look, other_questions_about_a_silent_mount_start_no_helper) {
  ask_stuck("q");
  waited_ms = 0;
  int calls = 0;
  for (int i = 0; i < 100; ++i) {
    if (look_within_limit(mount, "r", [] { return say("yes"); })) { ++calls; }
  }
  EXPECT_EQ(calls, 0);
  EXPECT_EQ(waited_ms, 0);
}

TEST_F(limited_look, other_mounts_answer) {
  ask_stuck("q");
  const mount_point other{8, 1, "/mnt/other", false};
  EXPECT_TRUE(wait_until([&] {  // the first may have used up the time of this second
    return look_within_limit(other, "r", [] { return say("yes"); }) == "yes";
  }));
}

TEST_F(limited_look, silent_mounts_take_half_of_the_time_at_most) {
  const std::uint64_t begin = monotonic_clock_us();
  for (int i = 0; i < 100; ++i) {
    const mount_point other{100 + i, 1, "/mnt/other", false};
    look_within_limit(other, "q", [] {
      pause();
      return say("never");
    });
  }
  const std::uint64_t duration_us = monotonic_clock_us() - begin;
  EXPECT_LE(static_cast<std::uint64_t>(waited_ms) * 1000, 90000 + duration_us / 2);
}

TEST_F(limited_look, mount_that_answers_is_waited_for_however_often) {
  endless_from_ms = 1;
  int answers = 0;
  for (int i = 0; i < 200; ++i) {
    const auto answer = look_within_limit(mount, std::to_string(i), [] {
      usleep(3000);
      return say("yes");
    });
    if (answer) { ++answers; }
  }
  EXPECT_GE(answers, 190) << "only a helper that took 30 ms to start may be left";
}

// A helper is left early if no time may be lost.
TEST_F(limited_look, helper_of_another_question_is_waited_for_within_its_limit) {
  EXPECT_TRUE(wait_until([&] {
    endless_from_ms = INT_MAX;
    use_up_allowance();
    ++mount.id;
    unlink(gate.c_str());
    ask_stuck(std::to_string(mount.id));
    before_wait = [&] { open_gate(); };
    endless_from_ms = 1;
    usleep(20000);
    const auto answer = look_within_limit(mount, "r", [] { return say("yes"); });
    before_wait = nullptr;
    open_gate();
    return answer == "yes";
  }));
}

TEST_F(limited_look, duration_of_all_looks_is_counted) {
  const std::uint64_t before = duration_of_looks_us();
  ask([] {
    usleep(3000);
    return say("yes");
  });
  EXPECT_GE(duration_of_looks_us() - before, 3000U);
}

TEST_F(limited_look, late_answer_is_kept_for_its_question) {
  ask_stuck("q");
  open_gate();
  std::optional<std::string> answer;
  EXPECT_TRUE(wait_until([&] {
    answer = look_within_limit(mount, "q", [] { return say("new"); });
    return answer.has_value();
  }));
  EXPECT_EQ(answer, "late");
}

TEST_F(limited_look, late_answer_is_not_kept_for_long) {
  ask_stuck("q");
  open_gate();
  EXPECT_TRUE(wait_until(
      [&] { return look_within_limit(mount, "q", [] { return say("new"); }) == "new"; }));
}

TEST_F(limited_look, forgotten_answer_is_asked_for_again) {
  ask_stuck("q");
  open_gate();
  ASSERT_TRUE(wait_until(
      [&] { return look_within_limit(mount, "q", [] { return say("new"); }) == "late"; }));
  forget_late_look("q");
  EXPECT_TRUE(
      wait_until([&] { return look_within_limit(mount, "q", [] { return say("new"); }) == "new"; },
                 std::chrono::milliseconds(900)));
}

TEST_F(limited_look, answer_of_a_killed_helper_does_not_count) {
  EXPECT_EQ(look_within_limit(mount, "q",
                              [] {
                                kill(getpid(), SIGKILL);
                                return say("yes");
                              }),
            std::nullopt);
  EXPECT_EQ(ask([] { return say("yes"); }), "yes");
}

TEST_F(limited_look, helpers_are_reaped) {
  look_within_limit(mount, "q", [] { return say("yes"); });
  ask_stuck("r");
  open_gate();
  EXPECT_TRUE(wait_until([] {
    collect_late_looks();
    siginfo_t ended{};
    return waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) == -1 && errno == ECHILD;
  }));
}

TEST_F(limited_look, silence_and_its_end_are_reported_once) {
  testing::internal::CaptureStderr();
  ask_stuck("q");
  const std::uint64_t begin = monotonic_clock_us();
  EXPECT_TRUE(wait_until([&] {
    collect_late_looks();
    return monotonic_clock_us() - begin > 1200000;
  }));
  open_gate();
  EXPECT_TRUE(wait_until(
      [&] { return look_within_limit(mount, "r", [] { return say("yes"); }) == "yes"; }));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Mount '/mnt/share' does not answer, jobs with sources on it wait\n"
            "Mount '/mnt/share' answers again\n");
}

TEST_F(limited_look, without_memory_ends_its_helper) {
  const pid_t service = getpid();
  const look_function look = []() -> std::string { throw std::bad_alloc(); };
  with_memory("a test", [&] { EXPECT_FALSE(look_within_limit(mount, "question", look)); });
  if (getpid() != service) { _exit(std::ofstream(folder.file("second service")) ? 0 : 1); }
  EXPECT_EQ(ask([] { return say("answer"); }), "answer");
  EXPECT_NE(access(folder.file("second service").c_str(), F_OK), 0);
}
