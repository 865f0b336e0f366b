#include "platform/sliding_window_v4.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include <unistd.h>

namespace {

// A `max` of 0 means no limit.
std::size_t limited(std::size_t size, std::size_t max) {
  return max == 0 ? size : std::min(size, max);
}

}  // namespace

sliding_window_v4* sliding_window_v4_create_buffer(std::size_t capacity) {
  if (capacity == 0) { return nullptr; }
  std::unique_ptr<unsigned char[]> region(new (std::nothrow) unsigned char[capacity]);
  if (!region) { return nullptr; }
  unsigned char* const start = region.get();
  auto* const buffer = new (std::nothrow) sliding_window_v4{start, start + capacity, start, start};
  if (buffer != nullptr) { static_cast<void>(region.release()); }
  return buffer;
}

sliding_window_v4* sliding_window_v4_destroy(sliding_window_v4* buffer) {
  if (buffer != nullptr) { delete[] buffer->region_start; }
  delete buffer;
  return nullptr;
}

bool sliding_window_v4_is_sane(const sliding_window_v4* buffer) {
  return buffer != nullptr && buffer->region_start != nullptr &&
         buffer->region_start <= buffer->read_pos && buffer->read_pos <= buffer->write_pos &&
         buffer->write_pos <= buffer->region_end;
}

std::size_t sliding_window_v4_data_available(const sliding_window_v4* buffer) {
  assert(sliding_window_v4_is_sane(buffer));
  return static_cast<std::size_t>(buffer->write_pos - buffer->read_pos);
}

std::size_t sliding_window_v4_can_write(const sliding_window_v4* buffer) {
  assert(sliding_window_v4_is_sane(buffer));
  return static_cast<std::size_t>(buffer->region_end - buffer->write_pos);
}

// Lazy, because otherwise the rest would be moved every time a reader takes a line.
void sliding_window_v4_lazy_flush(sliding_window_v4* buffer) {
  const std::size_t unread = sliding_window_v4_data_available(buffer);
  const auto capacity = static_cast<std::size_t>(buffer->region_end - buffer->region_start);
  if (unread != 0 && sliding_window_v4_can_write(buffer) >= capacity - capacity / 2) { return; }
  memmove(buffer->region_start, buffer->read_pos, unread);
  buffer->read_pos = buffer->region_start;
  buffer->write_pos = buffer->region_start + unread;
}

ssize_t sliding_window_v4_refill_from_fd(sliding_window_v4* buffer, int fd, std::size_t max) {
  const std::size_t room = limited(sliding_window_v4_can_write(buffer), max);
  if (room == 0) { return 0; }
  ssize_t got = 0;
  do {
    got = read(fd, buffer->write_pos, room);
  } while (got < 0 && errno == EINTR);
  if (got <= 0) { return got < 0 && errno == EAGAIN ? 0 : -1; }
  buffer->write_pos += got;
  return got;
}

ssize_t sliding_window_v4_empty_to_fd(sliding_window_v4* buffer, int fd, std::size_t max) {
  const std::size_t unread = limited(sliding_window_v4_data_available(buffer), max);
  if (unread == 0) { return 0; }
  ssize_t put = 0;
  do {
    put = write(fd, buffer->read_pos, unread);
  } while (put < 0 && errno == EINTR);
  if (put < 0) { return errno == EAGAIN ? 0 : -1; }
  buffer->read_pos += put;
  return put;
}
