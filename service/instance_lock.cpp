#include "service/instance_lock.h"

#include <algorithm>
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
// The same if the kernel does not show who took the lock: it may as well be a running service.
constexpr std::uint64_t unknown_patience_us = 5000000;
constexpr useconds_t retry_interval_us = 10000;

constexpr std::size_t longest_lock_list = std::size_t{1} << 20;

enum class lock_holder { unknown, ended, alive };

// The holder named by a line of the kernel's list of locks, such as "1: FLOCK  ADVISORY  WRITE
// 25916 fe:00:10952943 0 EOF"; unknown if the line is about another file.
lock_holder holder_in(const std::string& line, ino_t file) {
  std::istringstream words(line);
  std::string word;
  for (int skipped = 0; skipped < 4; ++skipped) {
    words >> word;
  }
  pid_t pid = 0;
  std::string name;
  words >> pid >> name;
  if (name.substr(name.rfind(':') + 1) != std::to_string(file)) { return lock_holder::unknown; }
  return kill(pid, 0) == 0 || errno != ESRCH ? lock_holder::alive : lock_holder::ended;
}

// Whether the process that took the lock still exists. If the list of locks cannot be read, it is
// taken to be alive.
lock_holder holder_of(int fd) {
  struct stat file {};
  std::string locks;
  const unique_fd list(open("/proc/locks", O_RDONLY | O_CLOEXEC));
  if (fstat(fd, &file) != 0 || !list.valid() || !read_all(list.get(), longest_lock_list, locks)) {
    return lock_holder::alive;
  }
  lock_holder found = lock_holder::unknown;
  std::istringstream lines(locks);
  std::string line;
  while (std::getline(lines, line)) {
    found = std::max(found, holder_in(line, file.st_ino));
  }
  return found;
}

std::uint64_t patience_with(lock_holder holder) {
  switch (holder) {
  case lock_holder::ended:
    return orphan_patience_us;
  case lock_holder::unknown:
    return unknown_patience_us;
  case lock_holder::alive:
    break;
  }
  return 0;
}

// False with errno.
bool take_lock(int fd) {
  const std::uint64_t begin = monotonic_clock_us();
  while (flock(fd, LOCK_EX | LOCK_NB) != 0) {
    if (errno != EAGAIN) { return false; }
    if (monotonic_clock_us() - begin >= patience_with(holder_of(fd))) {
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
