// The instance lock on "/proc/self/exe": two runs of one executable exclude each other, and nothing
// is left behind when the process dies.
#include "service/instance_lock.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>

bool already_running() {
  static int exe_fd = -1;
  if (exe_fd < 0) { exe_fd = open("/proc/self/exe", O_RDONLY | O_CLOEXEC); }
  if (exe_fd < 0) {
    fprintf(stderr, "WARNING: cannot open self exe, %s\n", strerror(errno));
    return false;
  }
  return flock(exe_fd, LOCK_EX | LOCK_NB) != 0 && errno == EAGAIN;
}
