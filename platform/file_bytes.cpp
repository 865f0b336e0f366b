#include "platform/file_bytes.h"

#include <cerrno>

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
