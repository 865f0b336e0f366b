// The queue as a table.
#include <gmock/gmock.h>

#include "tools/qx_vod_ctl/item_table.h"

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

TEST(item_table, ids_are_as_long_as_needed_to_be_unique) {
  const std::string table = item_table({item_at(0, "0123456789a-tail", "/mnt/a"),
                                        item_at(1, "ffffffffffffffff", "/mnt/b"),
                                        item_at(2, "0123456789b-tail", "/mnt/c")});
  EXPECT_THAT(table, HasSubstr("\n0    0123456789a  ready"));
  EXPECT_THAT(table, HasSubstr("\n1    fffffffffff  ready"));
}

TEST(item_table, line_feed_in_a_name_does_not_break_a_row) {
  EXPECT_THAT(item_table({item_at(0, "aaaaaaaa", "/mnt/a\nb")}), HasSubstr("/mnt/a\\nb"));
}
