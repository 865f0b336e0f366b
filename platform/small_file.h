// Reading a small file whole. For the sources of platform/ only.
#pragma once

#include <cstddef>
#include <string>

// Reads the regular file `name` of the directory `dir_fd` (or AT_FDCWD) into `text`. A symbolic
// link as last component is not followed, and nothing that is no regular file is waited for or read
// from. False with errno: EINVAL for a file that is not regular, EFBIG for one of more than `limit`
// bytes.
bool read_small_file(int dir_fd, const char* name, std::size_t limit, std::string& text);
