// What happens to a child that does not end after a cancel, and when.
#include <gmock/gmock.h>

#include "exec/stuck_child.h"
#include "queue/process_state.h"
#include "tests/exec/exec_bench.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr std::uint64_t second_us = 1000000;

class stuck_child : public exec_bench {
protected:
  // An item whose child was started in its current state, and which is then cancelled.
  QueueItem& cancel_running(QueueItem& item) {
    fake_child::run_for(item);
    EXPECT_TRUE(item.cancel());
    return item;
  }
  QueueItem& cancel_transcode() { return cancel_running(add_item(TRANSCODE_TRANSCODING)); }
  // Gives a turn a moment before and one at this many seconds after the start of the test.
  static void turn_around(QueueItem& item, unsigned seconds, const std::function<void()>& between) {
    clock_us = start_of_clock + seconds * second_us - 1;
    turn(item);
    between();
    clock_us += 1;
    turn(item);
  }

  fake_child child_;
};

}  // namespace

TEST_F(stuck_child, is_continued_ten_seconds_after_sigterm) {
  QueueItem& item = cancel_transcode();
  turn_around(item, 10, [&] { EXPECT_THAT(child_.signals, ElementsAre(SIGTERM)); });
  EXPECT_THAT(child_.signals, ElementsAre(SIGTERM, SIGCONT));
}

TEST_F(stuck_child, is_killed_sixty_seconds_after_sigterm) {
  QueueItem& item = cancel_transcode();
  turn_around(item, 60, [&] { EXPECT_THAT(child_.signals, ElementsAre(SIGTERM, SIGCONT)); });
  EXPECT_THAT(child_.signals, ElementsAre(SIGTERM, SIGCONT, SIGKILL));
}

TEST_F(stuck_child, gets_each_signal_once) {
  QueueItem& item = cancel_transcode();
  for (unsigned i = 0; i < 200; ++i) {
    clock_us += second_us;
    turn(item);
  }
  EXPECT_THAT(child_.signals, ElementsAre(SIGTERM, SIGCONT, SIGKILL));
  EXPECT_THAT(child_.stray_signals, IsEmpty());
}

TEST_F(stuck_child, is_counted_from_the_first_sigterm) {
  QueueItem& item = cancel_transcode();
  clock_us += 9 * second_us;
  item.shutdown_proc();
  turn_around(item, 10, [] {});
  EXPECT_THAT(child_.signals, ElementsAre(SIGTERM, SIGTERM, SIGCONT));
}

TEST_F(stuck_child, listing_or_identification_left_to_finish_is_ended_after_sixty_seconds) {
  for (const auto step : {READY_CHECK_META, READY_QUERY_PROFILES}) {
    clock_us = start_of_clock;
    child_.signals.clear();
    QueueItem& item = cancel_running(add_ready_item(step));
    turn_around(item, 60, [&] { EXPECT_THAT(child_.signals, IsEmpty()); });
    EXPECT_THAT(child_.signals, ElementsAre(SIGTERM));
    turn_around(item, 70, [&] { EXPECT_THAT(child_.signals, ElementsAre(SIGTERM)); });
    turn_around(item, 120, [&] { EXPECT_THAT(child_.signals, ElementsAre(SIGTERM, SIGCONT)); });
    EXPECT_THAT(child_.signals, ElementsAre(SIGTERM, SIGCONT, SIGKILL));
  }
}

TEST_F(stuck_child, removal_of_a_left_listing_starts_the_shorter_limit) {
  QueueItem& item = cancel_running(add_ready_item(READY_QUERY_PROFILES));
  item.shutdown_proc();
  turn_around(item, 10, [] {});
  EXPECT_THAT(child_.signals, ElementsAre(SIGTERM, SIGCONT));
}

TEST_F(stuck_child, each_signal_is_one_line) {
  const stderr_capture captured;
  QueueItem& item = cancel_running(add_ready_item(READY_QUERY_PROFILES));
  item.input_file = "/mnt/media/clip.mpg";
  item.entry_id = "the-id";
  for (const unsigned seconds : {60U, 70U, 120U}) {
    turn_around(item, seconds, [] {});
  }
  constexpr char begin[] =
      "Item '/mnt/media/clip.mpg' (the-id) process 1000000000 is still running";
  EXPECT_EQ(captured.text(), std::string(begin) + " 60 s after the cancel, sending SIGTERM\n" +
                                 begin + " 10 s after SIGTERM, sending SIGCONT\n" + begin +
                                 " 60 s after SIGTERM, sending SIGKILL\n");
}

TEST_F(stuck_child, is_left_to_the_shutdown_once_that_has_begun) {
  QueueItem& item = cancel_transcode();
  DIE = 1;
  turn_around(item, 60, [] {});
  EXPECT_THAT(child_.signals, ElementsAre(SIGTERM));
}

TEST_F(stuck_child, passes_no_signal_on_to_the_next_child) {
  QueueItem& item = cancel_transcode();
  child_.end(killed_by(SIGTERM));
  turn(item);
  ASSERT_EQ(item.proc_pid, -1);
  fake_child::run_for(item);
  child_.signals.clear();
  turn_around(item, 10, [] {});
  EXPECT_THAT(child_.signals, IsEmpty());
}

TEST_F(stuck_child, child_that_nobody_cancelled_has_no_limit) {
  QueueItem& item = add_item(TRANSCODE_TRANSCODING);
  fake_child::run_for(item);
  clock_us += 1000000 * second_us;
  turn(item);
  EXPECT_THAT(child_.signals, IsEmpty());
}
