// Commands that must not overtake each other.
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include "tests/support/media/tool_run.h"
#include "tests/support/wait_until.h"
#include "tools/qxmi_vod_transcode/spread/order_queue.h"

using namespace std::chrono_literals;

namespace {

struct orders : testing::Test {
  // Writes its number when `gate` exists.
  std::vector<std::string> order(const std::string& number, const std::string& gate) const {
    return {"/bin/sh", "-c",
            "until [ -e '" + folder.file(gate) + "' ]; do sleep 0.01; done; echo " + number +
                " >>'" + folder.file("done") + "'"};
  }
  void open(const std::string& gate) const { std::ofstream(folder.file(gate)) << ""; }
  std::string done() const {
    std::ifstream file(folder.file("done"));
    return {std::istreambuf_iterator<char>(file), {}};
  }
  bool end() {
    return qx_test::wait_until([this] {
      queue.tick();
      return queue.is_idle();
    });
  }

  qx_test::scratch_folder folder;
  order_queue queue;
};

}  // namespace

TEST_F(orders, that_are_late_are_not_overtaken) {
  queue.add({order("1", "first")});
  queue.add({order("2", "second")});
  open("second");
  EXPECT_FALSE(qx_test::wait_until(
      [this] {
        queue.tick();
        return !done().empty();
      },
      200ms));
  open("first");
  EXPECT_TRUE(end());
  EXPECT_EQ(done(), "1\n2\n");
}

TEST_F(orders, of_one_batch_do_not_wait_for_each_other) {
  open("second");
  queue.add({order("1", "first"), order("2", "second")});
  EXPECT_TRUE(qx_test::wait_until([this] {
    queue.tick();
    return done() == "2\n";
  }));
  open("first");
  EXPECT_TRUE(end());
  EXPECT_EQ(done(), "2\n1\n");
}

TEST_F(orders, that_have_not_begun_can_be_replaced) {
  queue.add({order("1", "gate")});
  queue.add({order("2", "gate")});
  queue.add_instead({order("3", "gate")});
  open("gate");
  EXPECT_TRUE(end());
  EXPECT_EQ(done(), "1\n3\n");
}

TEST_F(orders, are_none_in_an_empty_batch) {
  queue.add({});
  EXPECT_TRUE(queue.is_idle());
}
