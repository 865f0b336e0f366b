// Process 1 of a private root: it holds the namespaces until the test ends, however it ends, and
// then cleans up.
#pragma once

#include <string>

#include <sys/types.h>

namespace qx_test {

struct keeper_process {
  pid_t pid = -1;     // a child of the caller
  int life_fd = -1;   // the keeper ends when every copy of this descriptor is closed
  std::string error;  // empty if the keeper is running
};

// Starts the keeper of the private root in `folder`. When it ends, the keeper removes the folder
// unless `keep_folder` is set.
keeper_process start_keeper(const std::string& folder, bool keep_folder);

}  // namespace qx_test
