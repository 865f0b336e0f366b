// Whether the clock of a transport stream can be trusted.
#pragma once

// Reads the program clock of the transport stream open at `fd`, at a hundred places spread over the
// file, and returns whether it is continuous from beginning to end. False if it jumps or changes
// its carrier, as in a recording that was spliced or whose encoder was restarted, or if this is
// unknown. A forward jump shorter than the distance between two of the places may not be noticed.
// Reads about 50 MB at most.
bool transport_clock_is_even(int fd);
