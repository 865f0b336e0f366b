// Reads and writes whole files.
#include "tools/qx_vod_ctl/text_file.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "platform/unique_fd.h"

namespace {

int read_bytes(int fd, std::size_t limit, std::string& text) {
  char block[65536];
  ssize_t got = 0;
  while ((got = read(fd, block, sizeof block)) != 0) {
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return errno;
    text.append(block, static_cast<std::size_t>(got));
    if (text.size() <= limit) continue;
    text.resize(limit);
    return EFBIG;
  }
  return 0;
}

}  // namespace

bool text_file::missing() const {
  return error == ENOENT || error == ENOTDIR;
}

std::string text_file::cause() const {
  if (error == EINVAL) return "is no regular file";
  return error == EFBIG ? "is too large" : std::strerror(error);
}

// Non-blocking: a FIFO in the file's place would hold the caller for good.
text_file read_text_file(const std::string& path, std::size_t limit) {
  text_file file;
  const unique_fd fd(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (!fd.valid() || fstat(fd.get(), &file.status) != 0) {
    file.error = errno;
  } else {
    file.error = S_ISREG(file.status.st_mode) ? read_bytes(fd.get(), limit, file.text) : EINVAL;
  }
  return file;
}

bool write_text(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(fd, text.data(), text.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}
