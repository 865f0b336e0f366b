// The processes in a private root: transcoders, and the engines they have started.
#pragma once

#include <string>
#include <vector>

#include <json11.hpp>

#include "tests/support/test_machine.h"

namespace qx_test {

// A number from the environment, for longer runs than usual.
long soak_setting(const char* name, long usual);

// The next number below `limit` in a sequence that is the same in every run.
unsigned random_below(unsigned limit);

class process_view {
public:
  explicit process_view(const private_root& root) : root_(root) {}

  // Whether an engine of the item's transcoder is running: not stopped, not ended.
  bool engine_works(const json11::Json& item) const;
  // Whether none is, for a tenth of a second without a break, before the usual deadline.
  bool comes_to_rest(const json11::Json& item) const;

private:
  const private_root& root_;
};

}  // namespace qx_test
