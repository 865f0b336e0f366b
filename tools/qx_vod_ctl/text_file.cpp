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
    if (got < 0 && errno == EINTR) { continue; }
    if (got < 0) { return errno; }
    text.append(block, static_cast<std::size_t>(got));
    if (text.size() <= limit) { continue; }
    text.resize(limit);
    return EFBIG;
  }
  return 0;
}

// Non-blocking: a FIFO in the file's place would hold the caller for good.
constexpr int reading = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

text_file read_opened(int fd, std::size_t limit) {
  text_file file;
  if (fd < 0 || fstat(fd, &file.status) != 0) {
    file.error = errno;
  } else {
    file.error = S_ISREG(file.status.st_mode) ? read_bytes(fd, limit, file.text) : EINVAL;
  }
  return file;
}

}  // namespace

bool text_file::missing() const {
  return error == ENOENT || error == ENOTDIR;
}

std::string text_file::cause() const {
  if (error == EINVAL) { return "is not a regular file"; }
  if (error == ELOOP) { return "is a symbolic link"; }
  return error == EFBIG ? "is too large" : std::strerror(error);
}

text_file read_text_file(const std::string& path, std::size_t limit) {
  return read_opened(unique_fd(open(path.c_str(), reading)).get(), limit);
}

text_file read_text_file_without_links(const std::string& folder, const std::string& name,
                                       std::size_t limit) {
  const unique_fd place(open(folder.c_str(), O_RDONLY | O_CLOEXEC | O_DIRECTORY | O_NOFOLLOW));
  text_file none;
  none.error = errno;
  if (!place.valid()) { return none; }
  return read_opened(unique_fd(openat(place.get(), name.c_str(), reading | O_NOFOLLOW)).get(),
                     limit);
}

bool write_text(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(fd, text.data(), text.size());
    if (count < 0 && errno == EINTR) { continue; }
    if (count < 0) { return false; }
    text.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}
