// Making directories.
#pragma once

#include <sys/types.h>

// Makes the directory `path` and its missing parents, each with `mode` less the umask, and gives
// each that it makes to the user `owner` (-1: leaves the owner as it is). What stands there already
// is not changed. 0 when the directory stands there in the end, else negative with errno.
int mkdir_p(const char* path, mode_t mode, int owner);
