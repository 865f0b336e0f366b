// The instance lock: each result of the kernel.
#include <cerrno>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "service/instance_lock.h"

namespace {

int flock_errno = 0;
int flock_failures = 1000000;  // then it succeeds
int flock_fd = -1;
std::uint64_t now_us = 0;
int flock_operation = 0;

// Each case runs in its own process, because the lock is taken once per process.
[[noreturn]] void exit_with_verdict() {
  exit(already_running() ? 1 : 0);
}

// The limit is restored before the process ends: the sanitizers inspect memory through a pipe.
[[noreturn]] void exit_with_verdict_without_descriptors() {
  rlimit usual{};
  getrlimit(RLIMIT_NOFILE, &usual);
  const rlimit none{0, usual.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  const bool verdict = already_running();
  setrlimit(RLIMIT_NOFILE, &usual);
  exit(verdict ? 1 : 0);
}

[[noreturn]] void exit_with_what_was_locked() {
  already_running();
  char target[4096] = "";
  char self[4096] = "";
  const std::string link = "/proc/self/fd/" + std::to_string(flock_fd);
  const bool is_self = readlink(link.c_str(), target, sizeof target - 1) > 0 &&
                       readlink("/proc/self/exe", self, sizeof self - 1) > 0 &&
                       std::string(target) == self;
  const bool closes_on_exec = (fcntl(flock_fd, F_GETFD) & FD_CLOEXEC) != 0;
  const bool is_read_only = (fcntl(flock_fd, F_GETFL) & O_ACCMODE) == O_RDONLY;
  exit(is_self && closes_on_exec && is_read_only && flock_operation == (LOCK_EX | LOCK_NB) ? 0 : 1);
}

using ::testing::ExitedWithCode;

}  // namespace

// Half a second passes between two looks.
std::uint64_t monotonic_clock_us() {
  return now_us += 500000;
}

std::uint64_t gettimeofday_us() {
  return now_us;
}

extern "C" int flock(int fd, int operation) noexcept {
  flock_fd = fd;
  flock_operation = operation;
  if (flock_errno == 0 || flock_failures-- <= 0) { return 0; }
  errno = flock_errno;
  return -1;
}

TEST(instance_lock, taken_lets_the_service_run) {
  EXPECT_EXIT(exit_with_verdict(), ExitedWithCode(0), "^$");
}

TEST(instance_lock, held_by_another_process_stops_the_service) {
  flock_errno = EAGAIN;
  EXPECT_EXIT(exit_with_verdict(), ExitedWithCode(1), "^$");
}

TEST(instance_lock, whose_holder_is_not_known_is_waited_for) {
  flock_errno = EAGAIN;
  flock_failures = 5;
  EXPECT_EXIT(exit_with_verdict(), ExitedWithCode(0), "^$");
}

TEST(instance_lock, whose_holder_is_not_known_is_waited_for_five_seconds) {
  flock_errno = EAGAIN;
  flock_failures = 20;
  EXPECT_EXIT(exit_with_verdict(), ExitedWithCode(1), "^$");
}

TEST(instance_lock, that_fails_otherwise_is_ignored) {
  for (const int error : {EINTR, ENOLCK, EBADF, EINVAL}) {
    flock_errno = error;
    EXPECT_EXIT(exit_with_verdict(), ExitedWithCode(0), "^$") << error;
  }
}

TEST(instance_lock, is_ignored_when_the_executable_cannot_be_opened) {
  flock_errno = EAGAIN;
  EXPECT_EXIT(exit_with_verdict_without_descriptors(), ExitedWithCode(0),
              "^WARNING: cannot open self exe, Too many open files\n$");
}

TEST(instance_lock, is_on_the_executable_and_not_for_children) {
  EXPECT_EXIT(exit_with_what_was_locked(), ExitedWithCode(0), "");
}
