// Which remote jobs count as held.
#include <gmock/gmock.h>

#include "tools/qx_vod_ctl/held_job.h"

using ::testing::HasSubstr;

namespace {

item_view remote_item(const std::string& step) {
  item_view item;
  item.entry_id = "an-id";
  item.input_file = "/mnt/media/clip.ts";
  item.state = "remote transcode";
  item.sub_state = step;
  return item;
}

}  // namespace

TEST(held_job, is_one_whose_request_exceeds_every_time_limit) {
  for (const char* step : {"add", "monitor", "command"}) {
    item_view item = remote_item(step);
    item.pid = 4711;
    EXPECT_EQ(judge_held(item, true, longest_request_s).reason, "") << step;
    const held_job held = judge_held(item, true, longest_request_s + 1);
    EXPECT_THAT(held.reason, HasSubstr("unanswered for 91 s")) << step;
    EXPECT_THAT(held.advice, HasSubstr("kill 4711")) << step;
  }
}

TEST(held_job, is_not_one_whose_transfer_takes_long) {
  for (const char* step : {"upload", "download"}) {
    item_view item = remote_item(step);
    item.pid = 4711;
    item.paused = true;
    EXPECT_EQ(judge_held(item, true, 100000).reason, "") << step;
  }
}

TEST(held_job, is_one_that_is_paused_before_a_step) {
  for (const char* step : {"upload", "add", "download"}) {
    item_view item = remote_item(step);
    EXPECT_EQ(judge_held(item, true, 0).reason, "") << step;
    item.paused = true;
    const held_job held = judge_held(item, true, 0);
    EXPECT_EQ(held.reason, "paused before the step \"" + std::string(step) + "\"");
    EXPECT_EQ(held.advice, "qx_vod_ctl resume an-id");
  }
}

TEST(held_job, is_not_one_that_is_paused_on_the_remote_server) {
  item_view item = remote_item("monitor");
  item.paused = true;
  EXPECT_EQ(judge_held(item, true, 0).reason, "");
}

TEST(held_job, is_one_without_its_source) {
  EXPECT_THAT(judge_held(remote_item("monitor"), false, 0).reason, HasSubstr("is missing"));
}

TEST(held_job, is_a_remote_one) {
  item_view item = remote_item("");
  item.state = "ready";
  item.paused = true;
  EXPECT_EQ(judge_held(item, false, 0).reason, "");
}
