// Lines out of the byte buffer that collects a child's output.
#pragma once

struct sliding_window_v4;

// Takes the next complete line: its line feed, and a carriage return directly before it, become
// NUL, and the read position moves past it. Null, with nothing consumed, when no line is complete
// or there is no buffer. Valid until the buffer is next refilled.
char* take_line(sliding_window_v4* buffer);
