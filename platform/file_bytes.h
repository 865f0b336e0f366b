// Reading and writing all the bytes of an open file, however few a single call moves.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Appends everything up to the end of the file to `text`, which may hold `limit` bytes in all.
// False with errno; EFBIG if there are more, with the first `limit` bytes in `text`. A call that a
// signal interrupts is repeated.
bool read_all(int fd, std::size_t limit, std::string& text);

// Writes all of `bytes`. False with errno, after which part of them may have been written. A call
// that a signal interrupts is repeated.
bool write_all(int fd, std::string_view bytes);
