// Whether the clock of a transport stream can be trusted.
#pragma once

// Looks at the program clock of the transport stream open at `fd`, at a hundred places spread over
// the file, and tells whether it runs on evenly from beginning to end. False where it jumps or
// changes its carrier, as in a recording that was spliced or whose encoder was started again, and
// where nothing can be said. A jump forward that is shorter than the way between two of the places
// may go unseen. Costs about 50 MB of reading at most.
bool transport_clock_is_even(int fd);
