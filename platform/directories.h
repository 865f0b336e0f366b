// Making directories.
#pragma once

#include <string>

#include <sys/types.h>

// Whether `path` leads to a directory; symbolic links are followed.
bool is_directory(const std::string& path);

// Makes the directory `path` with `mode` less the umask, and its missing parents with the same but
// for writing, which is their owner's: who may write to a parent may put another directory in this
// one's place. Gives each that it makes to the user `owner` (-1: leaves the owner as it is). What
// stands there already is not changed. 0 when the directory stands there in the end, else negative
// with errno.
int mkdir_p(const char* path, mode_t mode, int owner);
