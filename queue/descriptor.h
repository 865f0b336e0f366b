// The item's descriptors are plain integers, -1 when closed: they are part of its record.
#pragma once

#include <cstdint>

#include <unistd.h>

// Closes a descriptor that is open and marks it closed.
inline void close_descriptor(std::int32_t& fd) {
  if (fd != -1) {
    close(fd);
    fd = -1;
  }
}
