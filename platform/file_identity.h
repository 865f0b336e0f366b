// Which file a name led to, so that the same one is recognised later.
#pragma once

#include <sys/stat.h>

struct file_identity {
  dev_t device = 0;
  ino_t inode = 0;  // 0 is no file's number: not known

  file_identity() = default;
  explicit file_identity(const struct stat& status) : device(status.st_dev), inode(status.st_ino) {}

  bool is_known() const { return inode != 0; }
  bool is(const struct stat& status) const {
    return device == status.st_dev && inode == status.st_ino;
  }
};
