#include "exec/child_output.h"

#include <cassert>
#include <cstring>

#include "platform/sliding_window_v4.h"
#include "queue/queue_item.h"

char* take_line(sliding_window_v4* const proc_stdout_buffer) {
  if (proc_stdout_buffer == nullptr) { return nullptr; }
  assert(sliding_window_v4_is_sane(proc_stdout_buffer));
  unsigned char* const line = proc_stdout_buffer->read_pos;
  std::size_t const available = sliding_window_v4_data_available(proc_stdout_buffer);
  auto* const end =
      available == 0 ? nullptr : static_cast<unsigned char*>(memchr(line, '\n', available));
  if (end == nullptr) { return nullptr; }
  *end = '\0';
  if (end > line && end[-1] == '\r') { end[-1] = '\0'; }
  proc_stdout_buffer->read_pos = end + 1;
  assert(sliding_window_v4_is_sane(proc_stdout_buffer));
  return reinterpret_cast<char*>(line);
}

bool is_buffer_full(const sliding_window_v4* buffer) {
  return buffer != nullptr && buffer->read_pos == buffer->region_start &&
         buffer->write_pos == buffer->region_end;
}

void drop_overlong_line(sliding_window_v4* buffer) {
  if (is_buffer_full(buffer)) { buffer->read_pos = buffer->write_pos; }
}

char* QueueItem::proc_stdout_getline() {
  return take_line(proc_stdout_buffer);
}
