// Closing the descriptors in an item's record, which are plain integers, -1 when closed.
#pragma once

#include <cstdint>

#include <unistd.h>

// Closes the descriptor if it is open, and sets it to -1.
inline void close_descriptor(std::int32_t& fd) {
  if (fd != -1) {
    close(fd);
    fd = -1;
  }
}
