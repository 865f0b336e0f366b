// The byte FIFO between the service and a child's pipe: bytes are added at the write position and
// removed at the read position. Nothing here blocks unless the given descriptor does.
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

// Creates an empty buffer of `capacity` bytes, which never grows. Returns null if out of memory or
// if the capacity is 0. The caller owns it.
sliding_window_v4* sliding_window_v4_create_buffer(std::size_t capacity);

// Frees the buffer and returns null, so that a handle can be cleared in the same statement. Accepts
// null.
sliding_window_v4* sliding_window_v4_destroy(sliding_window_v4* buffer);

// Whether the four positions are in order; false for null. All other functions require a sane
// buffer.
bool sliding_window_v4_is_sane(const sliding_window_v4* buffer);

// Returns the number of unread bytes.
std::size_t sliding_window_v4_data_available(const sliding_window_v4* buffer);

// Returns the number of bytes that fit after the write position at present; a flush may make more
// room.
std::size_t sliding_window_v4_can_write(const sliding_window_v4* buffer);

// Moves the unread bytes to the front if the room after the write position is less than half of the
// region, or if nothing is unread. Invalidates pointers into the buffer.
void sliding_window_v4_lazy_flush(sliding_window_v4* buffer);

// Reads once from `fd`, at most `max` bytes; a `max` of 0 means as much as fits. Returns the number
// of bytes read; 0 if there was nothing to read or no room; negative at end of file or on an error.
ssize_t sliding_window_v4_refill_from_fd(sliding_window_v4* buffer, int fd, std::size_t max);

// Writes once to `fd`, at most `max` bytes; a `max` of 0 means all unread bytes. Returns the number
// of bytes written; 0 if `fd` accepts none now or there are none; negative on an error. The process
// should ignore SIGPIPE: only then is a pipe without a reader reported as an error here.
ssize_t sliding_window_v4_empty_to_fd(sliding_window_v4* buffer, int fd, std::size_t max);
