// Reads a whole small file. For the sources of platform/ only.
#pragma once

#include <cstddef>
#include <string>

// Reads the regular file `name` in the directory `dir_fd` (or AT_FDCWD) into `text`. A symbolic
// link as the last component is not followed, and a file that is not regular is neither waited for
// nor read. Returns false with errno set on failure: EINVAL if the file is not regular, EFBIG if it
// has more than `limit` bytes.
bool read_small_file(int dir_fd, const char* name, std::size_t limit, std::string& text);
