// Lines out of the byte buffer that collects a child's output.
#pragma once

struct sliding_window_v4;

// Takes the next complete line: its line feed, and a carriage return directly before it, become
// NUL, and the read position moves past it. Null, with nothing consumed, when no line is complete
// or there is no buffer. Valid until the buffer is next refilled.
char* take_line(sliding_window_v4* buffer);

// Whether unread bytes take up the whole of the buffer, so that nothing more can be read into it.
// False without a buffer.
bool is_buffer_full(const sliding_window_v4* buffer);

// Empties a full buffer. To be called after all complete lines have been taken: the rest is then a
// line that is longer than the buffer, whose writer would wait forever for room. The end of that
// line arrives later and counts as another line.
void drop_overlong_line(sliding_window_v4* buffer);
