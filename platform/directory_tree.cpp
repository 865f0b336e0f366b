#include "platform/directory_tree.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/unique_dir.h"
#include "platform/unique_fd.h"

namespace {

bool others_may_change(const struct stat& directory) {
  const bool is_ours = directory.st_uid == 0 || directory.st_uid == geteuid();
  return !is_ours || (directory.st_mode & (S_IWGRP | S_IWOTH)) != 0;
}

unique_dir open_level(int directory, const char* name) {
  unique_fd fd(openat(directory, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  unique_dir level(fd.valid() ? fdopendir(fd.get()) : nullptr);
  if (level) { static_cast<void>(fd.release()); }
  return level;
}

bool is_itself_or_parent(const char* name) {
  return strcmp(name, ".") == 0 || strcmp(name, "..") == 0;
}

bool remove_entries(int directory, const char* name) {
  const unique_dir level = open_level(directory, name);
  if (!level) { return false; }
  int error = 0;
  while (const dirent* const entry = readdir(level.get())) {
    if (is_itself_or_parent(entry->d_name)) { continue; }
    if (!remove_tree(dirfd(level.get()), entry->d_name)) { error = errno; }
  }
  errno = error;
  return error == 0;
}

}  // namespace

bool others_may_redirect(const std::string& path) {
  unique_fd at(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
  for (std::size_t begin = 0; begin < path.size();) {
    const std::size_t end = std::min(path.find('/', begin), path.size());
    const std::string name = path.substr(begin, end - begin);
    begin = end + 1;
    if (name.empty()) { continue; }
    unique_fd next(openat(at.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (!next.valid() || fstat(next.get(), &status) != 0 || S_ISLNK(status.st_mode)) {
      return true;
    }
    const bool is_last = path.find_first_not_of('/', begin) == std::string::npos;
    if (!is_last && others_may_change(status)) { return true; }
    at = std::move(next);
  }
  return false;
}

bool remove_tree(int directory, const char* name) {
  if (unlinkat(directory, name, 0) == 0 || errno == ENOENT) { return true; }
  if (errno != EISDIR) { return false; }
  return remove_entries(directory, name) &&
         (unlinkat(directory, name, AT_REMOVEDIR) == 0 || errno == ENOENT);
}
