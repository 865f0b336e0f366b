// list and show.
#include <gmock/gmock.h>

#include "tests/tools/qx_vod_ctl/machine.h"

using namespace qx_test;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

namespace {

std::vector<std::string> forty_ids() {
  std::vector<std::string> ids;
  for (int i = 0; i < 40; ++i) {
    ids.push_back("item-number-" + std::to_string(100 + i));
  }
  return ids;
}

json11::Json parsed(const std::string& text) {
  std::string error;
  return json11::Json::parse(text, error);
}

}  // namespace

TEST(ctl_list, empty_queue_prints_no_data) {
  ctl_machine machine;
  machine.start();
  const auto result = machine.ctl({"list"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "qx_vod_ctl: the queue is empty\n");
}

TEST(ctl_list, whole_queue_is_listed_page_after_page) {
  ctl_machine machine;
  machine.start_with_items(forty_ids());
  const auto lines = lines_of(machine.ctl({"list"}).out);
  ASSERT_THAT(lines, SizeIs(41));
  EXPECT_THAT(lines[0], StartsWith("POS  ID               STATE      PROGRESS"));
  EXPECT_THAT(lines[40], StartsWith("39   item-number-139  cancelled  0.0%"));
}

TEST(ctl_list, part_of_the_queue) {
  ctl_machine machine;
  machine.start_with_items(forty_ids());
  const auto lines = lines_of(machine.ctl({"list", "--start", "10", "--end", "29"}).out);
  ASSERT_THAT(lines, SizeIs(21));
  EXPECT_THAT(lines[1], HasSubstr("item-number-110"));
  EXPECT_THAT(lines[20], HasSubstr("item-number-129"));
}

TEST(ctl_list, part_after_the_end_is_reported) {
  ctl_machine machine;
  machine.start_with_items({"aaaa"});
  const auto result = machine.ctl({"list", "--start", "1"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "qx_vod_ctl: the queue is shorter than that\n");
}

TEST(ctl_list, raw_form_is_one_page_per_line) {
  ctl_machine machine;
  machine.start_with_items(forty_ids());
  const auto lines = lines_of(machine.ctl({"list", "--json"}).out);
  ASSERT_THAT(lines, SizeIs(3));
  EXPECT_THAT(parsed(lines[0])["list"].array_items(), SizeIs(16));
  EXPECT_EQ(parsed(lines[2])["total"].int_value(), 40);
}

TEST(ctl_show, shows_every_field_except_the_tool_s_command_line) {
  ctl_machine machine;
  machine.start();
  const std::string id = machine.add_transcoding("/mnt/media/clip.mpg");
  const auto result = machine.ctl({"show", id});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("input file: /mnt/media/clip.mpg\n"));
  EXPECT_THAT(result.out, HasSubstr("transcode progress: 50.0%\n"));
  EXPECT_THAT(result.out, HasSubstr("transcode state: transcoding\n"));
  EXPECT_THAT(result.out, HasSubstr("quoted profile: 1080, 720, 480\n"));
  EXPECT_THAT(result.out, HasSubstr("paused: no\n"));
  EXPECT_THAT(result.out, Not(HasSubstr("process argv")));
}

TEST(ctl_show, raw_form_is_the_item_as_the_service_sends_it) {
  ctl_machine machine;
  machine.start_with_items({"aaaa"});
  EXPECT_EQ(machine.ctl({"show", "a", "--json"}).out, machine.client.item("aaaa").dump() + "\n");
}
