// Opens files that are rewritten in place.
#include "platform/rewrite_file.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/unique_fd.h"

unique_file rewrite_file(const std::string& path) {
  unique_fd fd(
      open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666));
  struct stat status {};
  if (!fd.valid() || fstat(fd.get(), &status) != 0) {
    return nullptr;
  }
  if (!S_ISREG(status.st_mode)) {
    errno = EINVAL;
    return nullptr;
  }
  unique_file file(fdopen(fd.get(), "w"));
  if (file) {
    static_cast<void>(fd.release());
  }
  return file;
}
