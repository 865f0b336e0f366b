// Entering "ready", and returning to it.
#include <gmock/gmock.h>

#include "tests/exec/exec_bench.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr char still_running_text[] = "problem: process/thread still running. Please retry again.";

class way_to_ready : public private_exec_bench {
protected:
  way_to_ready() { root_.write_source("/mnt/media/clip.mpg"); }
};

}  // namespace

TEST_F(way_to_ready, leads_from_idle_states_to_the_first_step) {
  inside([&] {
    for (const auto state : {TRANSCODE_INIT, TRANSCODE_CANCELLED}) {
      QueueItem& item = add_source_item(state);
      item.progress = 5000;
      item.state_message = "as it was";
      EXPECT_TRUE(item.ready());
      EXPECT_EQ(item.sm.state, TRANSCODE_READY);
      EXPECT_EQ(item.sm.ready.state, READY_INIT);
      EXPECT_EQ(item.progress, 0);
      EXPECT_EQ(item.state_message, "as it was");
    }
  });
}

TEST_F(way_to_ready, leaves_a_ready_item_unchanged) {
  QueueItem& item = add_ready_item(READY_QUERY_PROFILES);  // without a source
  EXPECT_TRUE(item.ready());
  EXPECT_EQ(item.sm.ready.state, READY_QUERY_PROFILES);
  EXPECT_THAT(status_writes, IsEmpty());
  EXPECT_TRUE(item.do_user_ready());
  EXPECT_EQ(item.sm.ready.state, READY_QUERY_PROFILES);
  EXPECT_THAT(status_writes, ElementsAre("ready: Ready"));
}

TEST_F(way_to_ready, is_closed_in_every_other_state) {
  inside([&] {
    for (const auto state :
         {TRANSCODE_CANCELLING, TRANSCODE_REMOTE, TRANSCODE_TRANSCODING, TRANSCODE_THUMBNAIL,
          TRANSCODE_CLEANUP, TRANSCODE_DONE, TRANSCODE_CLEARED}) {
      QueueItem& item = add_source_item(state);
      EXPECT_FALSE(item.ready());
      EXPECT_FALSE(item.do_user_ready());
      EXPECT_EQ(item.sm.state, state);
    }
  });
}

TEST_F(way_to_ready, needs_a_good_source) {
  inside([&] {
    QueueItem& item = add_item(TRANSCODE_CANCELLED);
    EXPECT_TRUE(item.set_input_file("/mnt/media/gone.mpg"));
    EXPECT_FALSE(item.ready());
    EXPECT_FALSE(item.do_user_ready());
    EXPECT_EQ(item.state_message, "Rejected: file not accessible, No such file or directory");
    EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLED);
  });
}

TEST_F(way_to_ready, stops_a_running_child) {
  inside([&] {
    fake_child child;
    QueueItem& item = add_source_item(TRANSCODE_INIT);
    ASSERT_TRUE(item.open_proc_stdout());
    fake_child::run_for(item);
    EXPECT_FALSE(item.ready());
    EXPECT_EQ(item.state_message, still_running_text);
    EXPECT_THAT(child.signals, ElementsAre(SIGTERM));
    EXPECT_EQ(item.proc_stdout_buffer, nullptr);
    EXPECT_FALSE(item.do_user_ready());
    EXPECT_THAT(child.signals, ElementsAre(SIGTERM, SIGTERM));
    EXPECT_EQ(item.sm.state, TRANSCODE_INIT);
  });
}

TEST_F(way_to_ready, discards_leftover_output) {
  inside([&] {
    fake_child child;
    QueueItem& item = add_source_item(TRANSCODE_CANCELLED);
    ASSERT_TRUE(item.open_proc_stdout());
    EXPECT_FALSE(item.ready());
    EXPECT_EQ(item.state_message, still_running_text);
    EXPECT_THAT(child.signals, IsEmpty());
    EXPECT_TRUE(item.ready()) << "the second try finds nothing left";
  });
}

TEST_F(way_to_ready, by_the_user_is_reported) {
  inside([&] {
    QueueItem& item = add_source_item(TRANSCODE_INIT);
    EXPECT_TRUE(item.do_user_ready());
    EXPECT_EQ(item.state_message, "Ready");
    EXPECT_EQ(status_writes.back(), "ready: Ready");
  });
}
