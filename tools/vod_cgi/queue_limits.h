// How the gateway reads the queue.
#pragma once

#include "tools/client/queue_reader.h"

// A page that misses a job for a second is better than none, and another server's second "add" is
// compared with every job that was there all the time.
constexpr reading_limits gateway_limits = {3, true};
