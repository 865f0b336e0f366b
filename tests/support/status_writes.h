// Every write of a job's status in the test's own process. Its source is compiled into the test
// program, which the linker has to lead the calls of QueueItem::fileops_write_status() to (see
// qx_status_writes in this folder's CMakeLists.txt).
#pragma once

#include <string>
#include <vector>

namespace qx_test {

// Each as "STATE: TEXT", since the test began or the last clear().
extern std::vector<std::string> status_writes;

}  // namespace qx_test
