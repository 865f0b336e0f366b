// Texts of unknown origin on a terminal.
#include "tools/qx_vod_ctl/terminal_text.h"

#include <gtest/gtest.h>

TEST(terminal_text, characters_of_every_length_pass) {
  const std::string text = "a~ \xc3\xa4\xdf\xbf \xe0\xa0\x80\xed\x9f\xbf\xe2\x82\xac "
                           "\xf0\x90\x80\x80\xf4\x8f\xbf\xbf";
  EXPECT_EQ(printable(text), text);
}

TEST(terminal_text, control_characters_of_both_sets_are_shown) {
  EXPECT_EQ(printable("a\nb\x1b[2J\x7f"), "a\\nb\\x1b[2J\\x7f");
  EXPECT_EQ(printable("\xc2\x9b"
                      "2J"),
            "\\xc2\\x9b2J");
  EXPECT_EQ(printable(std::string_view("\0", 1)), "\\x00");
}

TEST(terminal_text, bytes_that_are_no_character_are_shown) {
  EXPECT_EQ(printable("\xff"), "\\xff");
  EXPECT_EQ(printable("\xc3"), "\\xc3");
  EXPECT_EQ(printable("\xe2\x82"), "\\xe2\\x82");
  EXPECT_EQ(printable("\xe2(a"), "\\xe2(a");
  EXPECT_EQ(printable("\x80\xc1\xbf"), "\\x80\\xc1\\xbf");
}

TEST(terminal_text, roundabout_and_impossible_characters_are_shown) {
  EXPECT_EQ(printable("\xe0\x80\x8a"), "\\xe0\\x80\\x8a");
  EXPECT_EQ(printable("\xed\xa0\x80"), "\\xed\\xa0\\x80");
  EXPECT_EQ(printable("\xf0\x80\x80\x8a"), "\\xf0\\x80\\x80\\x8a");
  EXPECT_EQ(printable("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");
}

TEST(terminal_text, columns_count_characters) {
  EXPECT_EQ(columns(""), 0U);
  EXPECT_EQ(columns("a\xc3\xa4\xe2\x82\xac"), 3U);
}
