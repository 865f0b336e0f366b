// Reads and writes all the bytes of an open file, however few a single system call transfers.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <sys/types.h>

// Appends everything up to the end of the file to `text`, which may grow to `limit` bytes in total.
// Returns false with errno set on failure: EFBIG if there is more, with the first `limit` bytes
// left in `text`. Calls interrupted by a signal are repeated.
bool read_all(int fd, std::size_t limit, std::string& text);

// Writes all of `bytes`. Returns false with errno set on failure; some of them may have been
// written by then. Calls interrupted by a signal are repeated.
bool write_all(int fd, std::string_view bytes);

// Copies up to `most` bytes from where `source` is to where `target` is. Returns how many, 0 at the
// end of `source`, or -1 with errno set on failure.
ssize_t copy_bytes(int source, int target, std::size_t most);
