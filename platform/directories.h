// Making directories.
#pragma once

#include <string>

#include <sys/types.h>

// Whether `path` leads to a directory; symbolic links are followed.
bool is_directory(const std::string& path);

// Makes the directory `path` with `mode` less the umask. Missing parents are made with the same
// mode, except that only their owner may write: anyone able to write to a parent could put another
// directory in place of this one. Gives each directory that it makes to the user `owner` (-1 leaves
// the owner alone). Existing directories are not changed. Returns 0 if the directory exists in the
// end, otherwise negative with errno set.
int mkdir_p(const char* path, mode_t mode, int owner);

// Waits until the names in the open directory `fd` are on the disk. Where the file system does not
// support that, nothing better is possible, and that counts as done. False with errno on failure.
bool sync_names(int fd);

// Waits until the names in the directory open as `directory`, with O_PATH or not, are on the disk.
// Where the file system does not support that, nothing better is possible.
void sync_directory(int directory);
