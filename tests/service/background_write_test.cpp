// The deferred write of the queue file: 10 s after the last "add" or "remove".
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using namespace std::chrono_literals;

namespace {

using steady = std::chrono::steady_clock;

constexpr auto write_delay = 10s;

}  // namespace

class background_write : public ::testing::Test {
protected:
  background_write() { machine.start(); }
  bool written() const { return machine.root.exists("/mnt/main/tv/vod.queue.js"); }
  // Waits for the write and returns the time since `since`.
  std::chrono::milliseconds wait_for_write(steady::time_point since) const {
    EXPECT_TRUE(wait_until([&] { return written(); }));
    return std::chrono::duration_cast<std::chrono::milliseconds>(steady::now() - since);
  }
  test_machine machine;
};

TEST_F(background_write, follows_ten_seconds_after_an_add) {
  const auto sent = steady::now();
  machine.client.add({});
  EXPECT_GE(wait_for_write(sent), write_delay);
  EXPECT_FALSE(machine.root.exists("/mnt/main/tv/vod.queue.js.tmp"));
}

TEST_F(background_write, is_postponed_by_each_change) {
  const auto id = machine.client.add({});
  const auto first = steady::now();
  EXPECT_FALSE(wait_until([&] { return written() || steady::now() - first > 6s; }) && written());
  const auto second = steady::now();
  EXPECT_EQ(machine.client.command("remove", id).status(), "OK");
  EXPECT_GE(wait_for_write(second), write_delay) << "one write, after the second change";
}

TEST_F(background_write, is_triggered_by_no_other_command) {
  machine.root.write_source("/mnt/media/clip.mpg");
  const auto sent = steady::now();
  const auto id = machine.client.add_ready("/mnt/media/clip.mpg");
  wait_for_write(sent);
  machine.root.write_queue_file("kept");
  for (const char* word : {"pause", "resume", "modify", "ready", "cancel", "restart"}) {
    EXPECT_TRUE(machine.client.command(word, id).received()) << word;
  }
  const auto last = steady::now();
  wait_until([&] { return steady::now() - last > write_delay + 1s; });
  EXPECT_EQ(machine.root.queue_file(), "kept");
}

TEST_F(background_write, is_done_at_the_end_of_the_service) {
  machine.client.add({});
  machine.service.stop();
  EXPECT_TRUE(written());
}
