// Intercepts the service's calls to the file-operations library, and its removals.
#pragma once

#include <functional>

#include "tests/queue/queue_bench.h"

namespace qx_test {

// If set, it replaces the library function that returns a job's directory.
extern std::function<const char*()> directory_answer;

// Every path passed to a removal since the program began, as given.
extern strings removals;

}  // namespace qx_test
