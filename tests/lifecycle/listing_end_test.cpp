// The end of a profile listing: what is read from it, and what happens to the item.
#include <gmock/gmock.h>

#include "platform/transcode_settings.h"
#include "tests/lifecycle/ended_step.h"

using namespace qx_test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr char no_profiles_text[] =
    "cancelling: Rejected: Transcoder could not determine profiles (but returned success)";

using listing_end = ended_step;

}  // namespace

TEST_F(listing_end, profiles_and_output_are_chosen) {
  transcode_settings.clear();
  QueueItem& item = run_listing("*QUOTE\n.. 1080\n.. 720\n");
  end(item, exited(0));
  EXPECT_THAT(item.quoted_profile, ElementsAre("1080", "720"));
  EXPECT_EQ(item.transcode_profile, "1080");
  EXPECT_EQ(item.output_file, "/mnt/main/tv/vod/1000000000.vod.1080.clip.mpg.mp4");
  EXPECT_EQ(item.sm.ready.state, READY_READY_TO_TRANSCODE);
  EXPECT_TRUE(rescans());
  EXPECT_EQ(status_writes.size(), 2U) << "one for the choice, one for the end";
}

TEST_F(listing_end, advances_the_item_by_one_step) {
  QueueItem& item = run_listing("*QUOTE\n.. 720\n");
  item.sm.ready.set_state(READY_INIT);
  end(item, exited(0));
  EXPECT_EQ(item.sm.ready.state, READY_CHECK_META);
}

TEST_F(listing_end, profile_and_output_that_were_set_stay) {
  QueueItem& item = run_listing("*QUOTE\n.. 1080\n");
  item.transcode_profile = "360";
  ASSERT_TRUE(item.set_output_file("/mnt/main/tv/vod/mine.mp4"));
  end(item, exited(0));
  EXPECT_EQ(item.transcode_profile, "360");
  EXPECT_EQ(item.output_file, "/mnt/main/tv/vod/mine.mp4");
  EXPECT_THAT(status_writes, ElementsAre("ready: "));
}

TEST_F(listing_end, only_profile_lines_after_the_mark_count) {
  QueueItem& item =
      run_listing(".. before\n *QUOTE\n*QUOTE \n*QUOTE\r\n..720\n..  \n..\n.. \nnoise\n"
                  "..    720 p\n*QUOTE\n.. 480 \n.. cut off");
  end(item, exited(0));
  EXPECT_THAT(item.quoted_profile, ElementsAre("720 p", "480 "));
}

TEST_F(listing_end, old_profiles_are_forgotten) {
  QueueItem& item = run_listing("*QUOTE\n.. 720\n");
  item.quoted_profile = {"old"};
  end(item, exited(0));
  EXPECT_THAT(item.quoted_profile, ElementsAre("720"));
}

TEST_F(listing_end, listing_without_profiles_rejects_the_item) {
  for (const char* output : {"", ".. 720\n", "*QUOTE\n", "*QUOTE\n..   \n.. \n", "*QUOTE\n720\n",
                             "*quote\n.. 720\n", "*QUOTE\n.. 720"}) {
    end(run_listing(output), exited(0));
    EXPECT_THAT(status_writes, ElementsAre(no_profiles_text)) << output;
    EXPECT_FALSE(rescans());
  }
}

TEST_F(listing_end, listing_without_a_buffer_rejects_the_item) {
  end(run(READY_QUERY_PROFILES), exited(0));
  EXPECT_THAT(status_writes, ElementsAre(no_profiles_text));
}

TEST_F(listing_end, profile_that_makes_no_output_name_rejects_the_item) {
  end(run_listing("*QUOTE\n.. a/b\n"), exited(0));
  EXPECT_EQ(status_writes.back(), no_profiles_text);
}

TEST_F(listing_end, failure_rejects_the_item) {
  for (const int status : failures) {
    QueueItem& item = run_listing("*QUOTE\n.. 720\n");
    end(item, status);
    EXPECT_THAT(status_writes, ElementsAre("cancelling: Rejected: Unable to determine appropriate "
                                           "transcoding profiles"));
    EXPECT_THAT(item.quoted_profile, IsEmpty());
  }
}

TEST_F(listing_end, late_success_keeps_the_profiles_and_changes_no_state) {
  QueueItem& item = run_listing("*QUOTE\n.. 720\n");
  item.sm.set_state(TRANSCODE_CANCELLING);
  item.state_message = "Cancelled by user";
  end(item, exited(0));
  EXPECT_EQ(item.sm.state, TRANSCODE_CANCELLING);
  EXPECT_EQ(item.state_message, "Cancelled by user");
  EXPECT_THAT(item.quoted_profile, ElementsAre("720"));
  EXPECT_TRUE(rescans());
}

TEST_F(listing_end, late_failure_or_empty_list_is_only_logged) {
  for (const int status : {exited(0), exited(1)}) {
    QueueItem& item = run_listing("");
    item.sm.set_state(TRANSCODE_CANCELLING);
    item.state_message = "Cancelled by user";
    end(item, status);
    EXPECT_EQ(item.state_message, "Cancelled by user");
    EXPECT_THAT(status_writes, IsEmpty());
  }
}

TEST_F(listing_end, last_output_is_read_before_the_end_is_evaluated) {
  QueueItem& item = add_ready_item(READY_QUERY_PROFILES);
  item.transcode_profile = "720";
  item.proc_argv = {"/bin/true"};
  ASSERT_TRUE(item.open_proc_stdout());
  ASSERT_TRUE(item.proc_spawn());
  child_.at_waitpid = [&] {
    child_.print("*QUOTE\n.. 720\n");
    child_.end(exited(0));
  };
  EXPECT_TRUE(item.idle_process());
  EXPECT_THAT(item.quoted_profile, ElementsAre("720"));
}
