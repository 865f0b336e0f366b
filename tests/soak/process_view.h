// What runs in a private root: transcoders, and the engines that they have
// started.
#pragma once

#include <string>
#include <vector>

#include <json11.hpp>

#include "tests/support/test_machine.h"

namespace qx_test {

// A number out of the environment, for runs longer than the usual one.
long soak_setting(const char* name, long usual);

// The next number below `limit` of a sequence that is the same in every run.
unsigned random_below(unsigned limit);

class process_view {
public:
  explicit process_view(const private_root& root) : root_(root) {}

  // Whether an engine of the item's transcoder is at work: not stopped, not
  // ended.
  bool engine_works(const json11::Json& item) const;
  // Whether none is, for a tenth of a second on end, before the usual deadline.
  bool comes_to_rest(const json11::Json& item) const;

private:
  const private_root& root_;
};

}  // namespace qx_test
