// Lines out of the byte buffer that collects a child's output.
#pragma once

struct sliding_window_v4;

// Takes the next complete line: its line feed, and a carriage return directly before it, become
// NUL, and the read position moves past it. Null, with nothing consumed, when no line is complete
// or there is no buffer. Valid until the buffer is next refilled.
char* take_line(sliding_window_v4* buffer);

// Whether unread bytes take up the whole of the buffer, so that nothing more can be read into it.
// False where there is no buffer.
bool is_buffer_full(const sliding_window_v4* buffer);

// Drops what the buffer holds when it is full: call it once all complete lines have been taken. A
// line longer than the buffer can never complete, and its writer would wait for room for ever. The
// end of such a line arrives later and counts as a line of its own.
void drop_overlong_line(sliding_window_v4* buffer);
