// How items are named on the command line.
#include <gmock/gmock.h>

#include "tests/tools/qx_vod_ctl/machine.h"

using namespace qx_test;
using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST(ctl_ids, unique_prefix_names_the_item) {
  ctl_machine machine;
  machine.start_with_items({"aaaa-1", "aabb-2", "cccc-3"});
  const auto result = machine.ctl({"show", "aab"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("entry id: aabb-2\n"));
}

TEST(ctl_ids, item_beyond_the_first_page_is_found) {
  ctl_machine machine;
  std::vector<std::string> ids;
  for (int i = 100; i < 140; ++i) {
    ids.push_back("a" + std::to_string(i));
  }
  machine.start_with_items(ids);
  EXPECT_THAT(machine.ctl({"show", "a139"}).out, HasSubstr("entry id: a139\n"));
}

TEST(ctl_ids, ambiguous_prefix_ends_with_2_and_lists_the_candidates) {
  ctl_machine machine;
  machine.start_with_items({"aaaa-1", "aabb-2", "cccc-3"});
  const auto result = machine.ctl({"remove", "aa"});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, "qx_vod_ctl: aa: matches 2 jobs\n"
                        "  aaaa-1  /mnt/media/clip.mpg\n"
                        "  aabb-2  /mnt/media/clip.mpg\n");
}

TEST(ctl_ids, nothing_is_done_if_one_of_several_is_ambiguous) {
  ctl_machine machine;
  machine.start_with_items({"aaaa-1", "aabb-2", "cccc-3"});
  EXPECT_EQ(machine.ctl({"remove", "cccc", "aa"}).status, 2);
  EXPECT_EQ(machine.client.transcode_state("cccc-3"), "cancelled");
}

TEST(ctl_ids, unknown_one_ends_with_4_and_the_others_are_handled) {
  ctl_machine machine;
  machine.start_with_items({"aaaa-1", "cccc-3"});
  const auto result = machine.ctl({"pause", "b", "a"});
  EXPECT_EQ(result.status, 4);
  EXPECT_EQ(result.err, "qx_vod_ctl: b: no such job\n");
  EXPECT_THAT(result.out, StartsWith("aaaa-1  "));
}

TEST(ctl_ids, job_number_names_the_item) {
  ctl_machine machine;
  machine.start_with_items({"aaaa-1", "cccc-3"});
  const int job = machine.client.item("cccc-3")["fileops job id"].int_value();
  ASSERT_GT(job, 0);
  const auto result = machine.ctl({"show", "job:" + std::to_string(job)});
  EXPECT_THAT(result.out, HasSubstr("entry id: cccc-3\n"));
  EXPECT_EQ(machine.ctl({"show", "job:99999"}).status, 4);
}
