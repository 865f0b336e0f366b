// Jobs in the test's own process: the clock stands still until the test moves it, and each job has
// a directory of its own to report into.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "queue/queue_item.h"

namespace qx_test {

using strings = std::vector<std::string>;

constexpr std::uint64_t start_of_clock = 1000000000;

// What both clocks of the service answer.
extern std::uint64_t clock_us;

// Begins with an empty queue, no slot taken and nothing due, and leaves no item behind. Its source
// is compiled into the test program: the clock has to stand before the service's own.
class item_bench : public ::testing::Test {
protected:
  item_bench();
  ~item_bench() override;

  // A new item at the end of the queue, in that state, with a job directory.
  QueueItem& add_item(transcode_states state = TRANSCODE_INIT);

  std::string folder_;

private:
  int jobs_ = 0;
};

}  // namespace qx_test
