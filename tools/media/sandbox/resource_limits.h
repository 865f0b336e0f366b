// The limits of a confined process that every kernel has: of its memory, files, threads and time.
#pragma once

#include "tools/media/sandbox.h"

// Limits how much a function of this very program may add to the memory that it uses now. Reads
// /proc, so it comes before the rules for files. False on failure.
bool limit_memory_of_function();

// Limits the threads of this process's account, which must be the engine's. False with errno.
bool limit_threads();

// Sets the other limits: the largest file and the processor time of `limits`, the number of
// descriptors, no core file and, for a program, its addresses. A lower limit that this process has
// already stays. False with errno.
bool set_limits(const sandbox& limits);
