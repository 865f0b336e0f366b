#include "tools/qx_vod_ctl/text_file.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "platform/file_bytes.h"
#include "platform/unique_fd.h"

namespace {

// Non-blocking: a FIFO in the file's place would hold the caller for good.
constexpr int reading = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

text_file read_opened(int fd, std::size_t limit) {
  text_file file;
  if (fd < 0 || fstat(fd, &file.status) != 0) {
    file.error = errno;
  } else if (!S_ISREG(file.status.st_mode)) {
    file.error = EINVAL;
  } else {
    file.error = read_all(fd, limit, file.text) ? 0 : errno;
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
