#include "service/instance_lock.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/clock.h"
#include "platform/file_bytes.h"
#include "platform/unique_fd.h"

namespace {

// How long to wait for children of a killed service: each inherits the lock with the fork and drops
// it at once, but on a busy machine it may take long until it runs.
constexpr std::uint64_t orphan_patience_us = 30000000;
constexpr useconds_t retry_interval_us = 10000;

constexpr std::size_t longest_lock_list = std::size_t{1} << 20;

// Whether a line of the kernel's list of locks, such as "1: FLOCK  ADVISORY  WRITE 25916
// fe:00:10952943 0 EOF", names that file and a process that exists.
bool is_held_by_living(const std::string& line, ino_t file) {
  std::istringstream words(line);
  std::string word;
  for (int skipped = 0; skipped < 4; ++skipped) {
    words >> word;
  }
  pid_t pid = 0;
  std::string name;
  words >> pid >> name;
  return name.substr(name.rfind(':') + 1) == std::to_string(file) &&
         (kill(pid, 0) == 0 || errno != ESRCH);
}

// Whether the process that took the lock still exists. If the list of locks cannot be read, the
// answer is true.
bool is_holder_alive(int fd) {
  struct stat file {};
  std::string locks;
  const unique_fd list(open("/proc/locks", O_RDONLY | O_CLOEXEC));
  if (fstat(fd, &file) != 0 || !list.valid() || !read_all(list.get(), longest_lock_list, locks)) {
    return true;
  }
  std::istringstream lines(locks);
  std::string line;
  while (std::getline(lines, line)) {
    if (is_held_by_living(line, file.st_ino)) { return true; }
  }
  return false;
}

// False with errno.
bool take_lock(int fd) {
  const std::uint64_t deadline = monotonic_clock_us() + orphan_patience_us;
  while (flock(fd, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EAGAIN) { return false; }
    if (is_holder_alive(fd) || monotonic_clock_us() >= deadline) {
      errno = EAGAIN;
      return false;
    }
    usleep(retry_interval_us);
  }
  return true;
}

}  // namespace

bool already_running() {
  static int exe_fd = -1;
  if (exe_fd < 0) { exe_fd = open("/proc/self/exe", O_RDONLY | O_CLOEXEC); }
  if (exe_fd < 0) {
    fprintf(stderr, "WARNING: cannot open self exe, %s\n", strerror(errno));
    return false;
  }
  return !take_lock(exe_fd) && errno == EAGAIN;
}
