#include "platform/file_bytes.h"

#include <algorithm>
#include <cerrno>

#include <sys/sendfile.h>
#include <unistd.h>

bool read_all(int fd, std::size_t limit, std::string& text) {
  char block[65536];
  ssize_t got = 0;
  while ((got = read(fd, block, sizeof(block))) != 0) {
    if (got < 0 && errno == EINTR) { continue; }
    if (got < 0) { return false; }
    text.append(block, static_cast<std::size_t>(got));
    if (text.size() > limit) {
      text.resize(limit);
      errno = EFBIG;
      return false;
    }
  }
  return true;
}

bool write_all(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t put = write(fd, bytes.data(), bytes.size());
    if (put < 0 && errno == EINTR) { continue; }
    if (put < 0) { return false; }
    bytes.remove_prefix(static_cast<std::size_t>(put));
  }
  return true;
}

// Not every file system lets the kernel do it. If something else is wrong, it is wrong for read()
// and write() as well.
ssize_t copy_bytes(int source, int target, std::size_t most) {
  const ssize_t sent = sendfile(target, source, nullptr, most);
  if (sent >= 0) { return sent; }
  char block[65536];
  ssize_t got = 0;
  do {
    got = read(source, block, std::min(most, sizeof block));
  } while (got < 0 && errno == EINTR);
  if (got <= 0) { return got; }
  return write_all(target, {block, static_cast<std::size_t>(got)}) ? got : -1;
}
