#include "platform/guarded_file.h"

#include <string>

#include <fcntl.h>
#include <sys/stat.h>

namespace {

constexpr mode_t owner_only = 0600;
constexpr mode_t owner_and_group = 0640;

mode_t withheld_by_umask() {
  const mode_t mask = umask(0777);
  umask(mask);
  return mask;
}

bool has_group_of_its_folder(int fd, const std::string& path) {
  struct stat file {};
  struct stat folder {};
  return fstat(fd, &file) == 0 && stat(path.substr(0, path.rfind('/') + 1).c_str(), &folder) == 0 &&
         file.st_gid == folder.st_gid;
}

// An administrator may have removed permissions from the existing file.
mode_t given_by(const char* replaced) {
  struct stat status {};
  const bool is_file = lstat(replaced, &status) == 0 && S_ISREG(status.st_mode);
  return is_file ? status.st_mode : owner_and_group;
}

}  // namespace

// Created for the owner alone and opened up afterwards: anyone who has the file open can read
// everything written to it later.
unique_fd create_guarded_file(const char* path, const char* replaced) {
  unlink(path);  // if this fails, so does the next call
  unique_fd file(open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, owner_only));
  if (!file.valid()) { return file; }
  const mode_t allowed = has_group_of_its_folder(file.get(), path) ? owner_and_group : owner_only;
  if (fchmod(file.get(), allowed & given_by(replaced) & ~withheld_by_umask()) != 0) {
    return unique_fd();
  }
  return file;
}
