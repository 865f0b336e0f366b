// Unfinished results that killed tools have left.
#include "tools/media/left_parts.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "platform/text.h"
#include "platform/trusted_path.h"
#include "platform/unique_dir.h"
#include "platform/unique_fd.h"

namespace {

enum class part_fate { kept, removed };

bool is_same_file(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// The lock shows that nobody writes it; the second check, that the name still belongs to this file.
// The directory may be open to all: only regular files are looked at, and nothing may block. NFS
// locks only files that are open for writing.
bool is_left_over(int directory, const char* name, unique_fd& file, struct stat& status) {
  struct stat named = {};
  file.reset(openat(directory, name, O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  return file.valid() && fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) &&
         flock(file.get(), LOCK_EX | LOCK_NB) == 0 &&
         fstatat(directory, name, &named, AT_SYMLINK_NOFOLLOW) == 0 && is_same_file(named, status);
}

left_part_sums look_through(unique_fd folder, part_fate fate) {
  left_part_sums sums;
  const unique_dir directory(folder.valid() ? fdopendir(folder.get()) : nullptr);
  if (!directory) { return sums; }
  static_cast<void>(folder.release());
  const int fd = dirfd(directory.get());
  while (const dirent* entry = readdir(directory.get())) {
    if (!begins_with(entry->d_name, left_part_prefix)) { continue; }
    unique_fd file;
    struct stat status = {};
    if (!is_left_over(fd, entry->d_name, file, status)) { continue; }
    if (fate == part_fate::removed && unlinkat(fd, entry->d_name, 0) != 0) { continue; }
    ++sums.count;
    sums.bytes += static_cast<unsigned long long>(status.st_size);
  }
  return sums;
}

}  // namespace

bool has_name(int fd, int directory, const std::string& name) {
  struct stat mine = {};
  struct stat named = {};
  return fstat(fd, &mine) == 0 &&
         fstatat(directory, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0 &&
         is_same_file(mine, named);
}

bool take_part(int fd, int directory, const std::string& name) {
  // A file system without locks lets nobody take a part for left over either.
  if (flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) { return false; }
  return has_name(fd, directory, name);
}

left_part_sums find_left_parts(const std::string& directory) {
  return look_through(open_trusted(directory, O_RDONLY | O_DIRECTORY), part_fate::kept);
}

left_part_sums remove_left_parts(const std::string& directory) {
  return look_through(open_trusted(directory, O_RDONLY | O_DIRECTORY), part_fate::removed);
}

left_part_sums remove_left_parts(int directory) {
  return look_through(unique_fd(openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
                      part_fate::removed);
}
