// Makes directories with their parents.
#include "platform/directories.h"

#include <cerrno>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

namespace {

bool make_one(std::string const& path, mode_t mode, int owner) {
  if (mkdir(path.c_str(), mode) != 0) {
    int const error = errno;
    struct stat status {};
    bool const exists = stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
    errno = error;
    return exists;
  }
  return owner < 0 || chown(path.c_str(), static_cast<uid_t>(owner), static_cast<gid_t>(-1)) == 0;
}

}  // namespace

int mkdir_p(char const* path, mode_t mode, int owner) {
  std::string const whole = path;
  if (whole.empty()) {
    errno = ENOENT;
    return -1;
  }
  for (std::size_t slash = 0; slash != std::string::npos;) {
    slash = whole.find('/', slash + 1);
    if (!make_one(whole.substr(0, slash), mode, owner)) {
      return -1;
    }
  }
  return 0;
}
