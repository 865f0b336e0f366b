// What the service asks of the file-operations library, and what it removes.
#pragma once

#include <functional>

#include "tests/queue/queue_bench.h"

namespace qx_test {

// Where it is set it answers, in the library's place, what a job's directory is.
extern std::function<const char*()> directory_answer;

// The paths of all that was removed, or was to be, since the program began; as they were given.
extern strings removals;

}  // namespace qx_test
