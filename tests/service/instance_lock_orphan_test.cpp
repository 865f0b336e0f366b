// The instance lock when the process that took it has died, but a child still has it.
#include <csignal>
#include <cstdlib>

#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "service/instance_lock.h"

namespace {

// Takes the lock in a process that is killed, and leaves it to a child for `milliseconds`.
void leave_lock_to_an_orphan(unsigned milliseconds) {
  int is_forked[2];
  ASSERT_EQ(pipe(is_forked), 0);
  const pid_t holder = fork();
  if (holder == 0) {
    already_running();
    if (fork() == 0) {
      usleep(milliseconds * 1000);
      _exit(0);
    }
    static_cast<void>(!write(is_forked[1], "x", 1));
    pause();
  }
  char byte = 0;
  ASSERT_EQ(read(is_forked[0], &byte, 1), 1);
  ASSERT_EQ(kill(holder, SIGKILL), 0);
  ASSERT_EQ(waitpid(holder, nullptr, 0), holder);
  close(is_forked[0]);
  close(is_forked[1]);
}

[[noreturn]] void exit_with_verdict() {
  exit(already_running() ? 1 : 0);
}

}  // namespace

TEST(instance_lock_of_a_killed_service, is_waited_for_until_its_children_let_go) {
  leave_lock_to_an_orphan(300);
  EXPECT_EXIT(exit_with_verdict(), ::testing::ExitedWithCode(0), "^$");
}

// A threadsafe death test executes this program again, so that its lock is another one.
TEST(instance_lock_of_a_running_service, is_refused_at_once) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  already_running();
  const std::uint64_t begin = monotonic_clock_us();
  EXPECT_EXIT(exit_with_verdict(), ::testing::ExitedWithCode(1), "^$");
  EXPECT_LT(monotonic_clock_us() - begin, 4000000U);
}
