// The byte FIFO between the service and a child's pipe: bytes come in behind the write position and
// go out from the read position. Nothing here blocks longer than the descriptor that it is given.
#pragma once

#include <cstddef>

#include <sys/types.h>

// region_start <= read_pos <= write_pos <= region_end at all times. A user may take bytes by moving
// read_pos towards write_pos, and may overwrite unread bytes in place.
struct sliding_window_v4 {
  unsigned char* region_start;
  unsigned char* region_end;
  unsigned char* read_pos;
  unsigned char* write_pos;
};

// Makes an empty buffer of `capacity` bytes, which never grows. Null when there is no memory, or
// for a capacity of 0. The caller owns it.
sliding_window_v4* sliding_window_v4_create_buffer(std::size_t capacity);

// Frees the buffer and returns null, so that a handle can be cleared in the same line. Accepts
// null.
sliding_window_v4* sliding_window_v4_destroy(sliding_window_v4* buffer);

// Whether the four positions stand in their order; false for null. All other operations take a sane
// buffer only.
bool sliding_window_v4_is_sane(const sliding_window_v4* buffer);

// Bytes that wait to be read.
std::size_t sliding_window_v4_data_available(const sliding_window_v4* buffer);

// Bytes that fit behind the write position as things stand; a flush may make more room.
std::size_t sliding_window_v4_can_write(const sliding_window_v4* buffer);

// Moves the unread bytes to the front when the room behind the write position is less than half of
// the region, or when nothing is unread. Pointers into the buffer are void afterwards.
void sliding_window_v4_lazy_flush(sliding_window_v4* buffer);

// Reads once from `fd`, at most `max` bytes; a `max` of 0 means as much as fits. Returns the bytes
// read; 0 when there was nothing to read, or no room; negative at the end of file or on an error.
ssize_t sliding_window_v4_refill_from_fd(sliding_window_v4* buffer, int fd, std::size_t max);

// Writes once to `fd`, at most `max` bytes; a `max` of 0 means all there are. Returns the bytes
// written; 0 when `fd` takes none now, or there are none; negative on an error. SIGPIPE is the
// process's to ignore: a pipe that nobody reads is an error here only if it does.
ssize_t sliding_window_v4_empty_to_fd(sliding_window_v4* buffer, int fd, std::size_t max);
