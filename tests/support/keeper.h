// Process 1 of a private root: it does nothing but hold the namespaces until its test has ended,
// and then clears up, whatever way the test ended.
#pragma once

#include <string>

#include <sys/types.h>

namespace qx_test {

struct keeper_process {
  pid_t pid = -1;     // a child of the caller
  int life_fd = -1;   // the keeper ends when every copy of this descriptor is closed
  std::string error;  // empty when the keeper runs
};

// Starts the keeper of the private root whose parts lie in `folder`. At its end the keeper removes
// the folder, unless `keep_folder`.
keeper_process start_keeper(const std::string& folder, bool keep_folder);

}  // namespace qx_test
