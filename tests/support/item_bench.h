// Items in the test's own process: the clock only moves when the test moves it, and each item has
// its own job directory.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "queue/queue_item.h"

namespace qx_test {

using strings = std::vector<std::string>;

constexpr std::uint64_t start_of_clock = 1000000000;

// The value returned by both clocks of the service.
extern std::uint64_t clock_us;

// Starts with an empty queue, free slots and nothing due, and leaves no item. Its source is
// compiled into the test program, because its clock must replace the service's.
class item_bench : public ::testing::Test {
protected:
  item_bench();
  ~item_bench() override;

  // Appends a new item in this state, with a job directory.
  QueueItem& add_item(transcode_states state = TRANSCODE_INIT);

  std::string folder_;

private:
  int jobs_ = 0;
};

}  // namespace qx_test
