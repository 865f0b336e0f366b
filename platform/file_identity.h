// Which file a name led to, so that the same one is recognised later.
#pragma once

#include <ctime>

#include <sys/stat.h>

struct file_identity {
  dev_t device = 0;
  ino_t inode = 0;  // 0, which no file has, while it is unknown
  off_t size = 0;
  timespec modified{};

  file_identity() = default;
  explicit file_identity(const struct stat& status)
      : device(status.st_dev), inode(status.st_ino), size(status.st_size),
        modified(status.st_mtim) {}

  bool is_known() const { return inode != 0; }
  bool is(const struct stat& status) const {
    return device == status.st_dev && inode == status.st_ino;
  }
  // For file systems whose numbers do not last.
  bool looks_like(const struct stat& status) const {
    return is_known() && size == status.st_size && modified.tv_sec == status.st_mtim.tv_sec &&
           modified.tv_nsec == status.st_mtim.tv_nsec;
  }
};
