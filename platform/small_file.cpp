// Reads a small file whole.
#include "platform/small_file.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/unique_fd.h"

namespace {

bool fail(int error) {
  errno = error;
  return false;
}

}  // namespace

// Opened non-blocking: a FIFO in the file's place would hold the caller for good.
bool read_small_file(int dir_fd, const char* name, std::size_t limit, std::string& text) {
  const unique_fd file(
      openat(dir_fd, name, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW));
  struct stat status {};
  if (!file.valid() || fstat(file.get(), &status) != 0) { return false; }
  if (!S_ISREG(status.st_mode)) { return fail(EINVAL); }
  text.clear();
  char bytes[16384];
  ssize_t got = 0;
  while ((got = read(file.get(), bytes, sizeof(bytes))) != 0) {
    if (got < 0 && errno == EINTR) { continue; }
    if (got < 0) { return false; }
    text.append(bytes, static_cast<std::size_t>(got));
    if (text.size() > limit) { return fail(EFBIG); }
  }
  return true;
}
