// Notes the status writes of a test, and makes them.
#include "tests/support/status_writes.h"

#include <gtest/gtest.h>

#include "queue/queue_item.h"

namespace {

// Has each test begin with none.
class status_writes_of_a_test : public ::testing::EmptyTestEventListener {
  void OnTestStart(const ::testing::TestInfo&) override { qx_test::status_writes.clear(); }
};

const bool is_listening = [] {
  ::testing::UnitTest::GetInstance()->listeners().Append(new status_writes_of_a_test);
  return true;
}();

}  // namespace

// The linker leads the program's calls of it here (--wrap).
extern "C" {
bool __real__ZN9QueueItem20fileops_write_statusEv(QueueItem* item);

bool __wrap__ZN9QueueItem20fileops_write_statusEv(QueueItem* item) {
  qx_test::status_writes.push_back(std::string(item->sm.state_name()) + ": " + item->state_message);
  return __real__ZN9QueueItem20fileops_write_statusEv(item);
}
}

std::vector<std::string> qx_test::status_writes;
