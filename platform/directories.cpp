#include "platform/directories.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/unique_fd.h"

namespace {

constexpr mode_t written_by_others = S_IWGRP | S_IWOTH;

// Relies on mkdir's result rather than on a check beforehand: another process may be making the
// same directory.
bool make_one(const std::string& path, mode_t mode, int owner) {
  if (mkdir(path.c_str(), mode) == 0) {
    return owner < 0 ||
           lchown(path.c_str(), static_cast<uid_t>(owner), static_cast<gid_t>(-1)) == 0;
  }
  const int error = errno;
  if (is_directory(path)) { return true; }
  errno = error == EEXIST ? ENOTDIR : error;
  return false;
}

}  // namespace

bool is_directory(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

int mkdir_p(const char* path, mode_t mode, int owner) {
  const std::string whole = path;
  if (whole.empty()) {
    errno = ENOENT;
    return -1;
  }
  const std::size_t last_name_end = whole.find_last_not_of('/') + 1;
  std::size_t slash = 0;
  do {
    slash = whole.find('/', slash + 1);
    const mode_t its_mode = slash < last_name_end ? mode & ~written_by_others : mode;
    if (!make_one(whole.substr(0, slash), its_mode, owner)) { return -1; }
  } while (slash != std::string::npos);
  return 0;
}

bool sync_names(int fd) {
  return fsync(fd) == 0 || errno == EINVAL || errno == ENOTSUP || errno == ENOSYS;
}

void sync_directory(int directory) {
  const unique_fd fd(openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd.valid()) { static_cast<void>(fsync(fd.get()) == 0); }
}
