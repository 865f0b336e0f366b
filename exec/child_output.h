// Lines from the byte buffer that collects a child's output.
#pragma once

struct sliding_window_v4;

// Returns the next complete line and moves the read position past it. Its line feed, and a carriage
// return directly before it, are replaced with NUL. Null, with nothing consumed, if no line is
// complete or there is no buffer. Valid until the buffer is next refilled.
char* take_line(sliding_window_v4* buffer);

// Whether the buffer is full of unread bytes, so that nothing more can be read into it. False if
// there is no buffer.
bool is_buffer_full(const sliding_window_v4* buffer);

// Empties the buffer if it is full: call it after all complete lines have been read. A line longer
// than the buffer can never be complete, and its writer would wait for room forever. The rest of
// such a line arrives later and is treated as a separate line.
void drop_overlong_line(sliding_window_v4* buffer);
