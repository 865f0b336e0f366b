// Programs that the media matrix runs, with what they write on their standard output.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace qx_test {

// How a program ended, and its output. `status` is its exit status, or -1 if it was not started or
// was killed.
struct child_result {
  int status = -1;
  std::string output;
  std::string errors;  // its standard error, if requested
};

// Runs argv[0] (looked up in PATH) to its end with nothing on standard input. `keep_errors`
// collects standard error in `errors`; else it is the caller's. Safe to call from several threads.
child_result run_child(const std::vector<std::string>& argv, bool keep_errors = false);

// Hands the program's standard output to `block` in pieces of exactly `size` bytes; a shorter rest
// is dropped. The result is the exit status as above.
int read_blocks(const std::vector<std::string>& argv, std::size_t size,
                const std::function<void(const std::uint8_t*)>& block);

}  // namespace qx_test
