// Items as they are read and shown.
#include <gmock/gmock.h>

#include "tools/qx_vod_ctl/item_table.h"
#include "tools/qx_vod_ctl/item_view.h"

using ::testing::HasSubstr;

namespace {

listed_item item_at(std::uint64_t position, const std::string& id, const std::string& input) {
  listed_item listed;
  listed.position = position;
  listed.item.entry_id = id;
  listed.item.input_file = input;
  listed.item.state = "ready";
  listed.item.text = "Ready";
  return listed;
}

}  // namespace

TEST(item_view, is_read_from_the_service_form) {
  item_view item;
  ASSERT_TRUE(read_item(std::string(R"({"delete on finish":true,"entry id":"abc",)"
                                    R"("input file":"/mnt/a","output file":"/mnt/b",)"
                                    R"("state":"Ready","transcode profile":"720",)"
                                    R"("transcode progress":[4150,10000],)"
                                    R"("transcode state":"transcoding"})"),
                        item));
  EXPECT_EQ(item.entry_id, "abc");
  EXPECT_EQ(item.input_file, "/mnt/a");
  EXPECT_EQ(item.output_file, "/mnt/b");
  EXPECT_EQ(item.profile, "720");
  EXPECT_EQ(item.progress, 4150);
  EXPECT_EQ(item.state_and_step(), "transcoding");
  EXPECT_EQ(item.text, "Ready");
  EXPECT_TRUE(item.delete_on_finish);
}

TEST(item_view, tells_the_step_of_each_state_that_has_steps) {
  for (const char* state : {"ready", "remote transcode", "thumbnail", "cleanup"}) {
    const json11::Json json = json11::Json::object{
        {"entry id", "a"}, {"transcode state", state}, {std::string(state) + " state", "step"}};
    item_view item;
    ASSERT_TRUE(read_item(json, item));
    EXPECT_EQ(item.state_and_step(), std::string(state) + ": step");
  }
}

TEST(item_view, without_an_entry_id_is_none) {
  item_view item;
  for (const char* text :
       {"", "null", "[]", "7", "{}", "{\"entry id\":\"\"}", "{\"entry id\":1}"}) {
    EXPECT_FALSE(read_item(std::string(text), item)) << text;
  }
}

TEST(item_view, progress_is_shown_to_a_tenth_and_never_rounded_up) {
  EXPECT_EQ(percent(0), "0.0%");
  EXPECT_EQ(percent(4159), "41.5%");
  EXPECT_EQ(percent(9999), "99.9%");
  EXPECT_EQ(percent(10000), "100.0%");
}

TEST(item_table, is_empty_without_items) {
  EXPECT_EQ(item_table({}), "");
}

TEST(item_table, lines_columns_up_by_characters_not_bytes) {
  const std::string table =
      item_table({item_at(0, "aaaaaaaaa", "/mnt/\xc3\xa4"), item_at(1, "bbbbbbbbb", "/mnt/ab")});
  EXPECT_EQ(table, "POS  ID        STATE  PROGRESS  PROFILE  INPUT FILE  TEXT\n"
                   "0    aaaaaaaa  ready  0.0%      -        /mnt/\xc3\xa4      Ready\n"
                   "1    bbbbbbbb  ready  0.0%      -        /mnt/ab     Ready\n");
}

TEST(item_table, ids_are_as_long_as_it_takes_to_tell_them_apart) {
  const std::string table = item_table({item_at(0, "0123456789a-tail", "/mnt/a"),
                                        item_at(1, "ffffffffffffffff", "/mnt/b"),
                                        item_at(2, "0123456789b-tail", "/mnt/c")});
  EXPECT_THAT(table, HasSubstr("\n0    0123456789a  ready"));
  EXPECT_THAT(table, HasSubstr("\n1    fffffffffff  ready"));
}

TEST(item_table, line_feed_in_a_name_does_not_break_a_row) {
  EXPECT_THAT(item_table({item_at(0, "aaaaaaaa", "/mnt/a\nb")}), HasSubstr("/mnt/a\\nb"));
}
