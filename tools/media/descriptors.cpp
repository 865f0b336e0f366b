#include "tools/media/descriptors.h"

#include <algorithm>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

void close_range_of(unsigned first, unsigned last) {
  if (first > last || syscall(SYS_close_range, first, last, 0) == 0) { return; }
  const long limit = sysconf(_SC_OPEN_MAX);
  for (long fd = first; fd < limit && fd <= static_cast<long>(last); ++fd) {
    ::close(static_cast<int>(fd));
  }
}

}  // namespace

void close_all_but(std::vector<int> kept) {
  std::sort(kept.begin(), kept.end());
  unsigned first = STDERR_FILENO + 1;
  for (const int fd : kept) {
    close_range_of(first, static_cast<unsigned>(fd) - 1);
    first = static_cast<unsigned>(fd) + 1;
  }
  close_range_of(first, ~0U);
}

bool silence_standard_descriptors() {
  const int null_fd = open("/dev/null", O_RDWR | O_CLOEXEC);
  return null_fd >= 0 && dup2(null_fd, STDIN_FILENO) >= 0 && dup2(null_fd, STDOUT_FILENO) >= 0 &&
         dup2(null_fd, STDERR_FILENO) >= 0;
}
