#include "platform/small_file.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/file_bytes.h"
#include "platform/unique_fd.h"

// Opened non-blocking: a FIFO in place of the file would block the caller indefinitely.
bool read_small_file(int dir_fd, const char* name, std::size_t limit, std::string& text) {
  const unique_fd file(
      openat(dir_fd, name, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW));
  struct stat status {};
  if (!file.valid() || fstat(file.get(), &status) != 0) { return false; }
  if (!S_ISREG(status.st_mode)) {
    errno = EINVAL;
    return false;
  }
  text.clear();
  return read_all(file.get(), limit, text);
}
