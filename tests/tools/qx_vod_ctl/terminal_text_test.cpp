// Texts of unknown origin on a terminal.
#include <gtest/gtest.h>

#include "tools/qx_vod_ctl/terminal_text.h"

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

TEST(terminal_text, invalid_bytes_are_shown) {
  EXPECT_EQ(printable("\xff"), "\\xff");
  EXPECT_EQ(printable("\xc3"), "\\xc3");
  EXPECT_EQ(printable("\xe2\x82"), "\\xe2\\x82");
  EXPECT_EQ(printable("\xe2(a"), "\\xe2(a");
  EXPECT_EQ(printable("\x80\xc1\xbf"), "\\x80\\xc1\\xbf");
}

TEST(terminal_text, overlong_and_impossible_characters_are_shown) {
  EXPECT_EQ(printable("\xe0\x80\x8a"), "\\xe0\\x80\\x8a");
  EXPECT_EQ(printable("\xed\xa0\x80"), "\\xed\\xa0\\x80");
  EXPECT_EQ(printable("\xf0\x80\x80\x8a"), "\\xf0\\x80\\x80\\x8a");
  EXPECT_EQ(printable("\xf4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80");
}

TEST(terminal_text, columns_count_characters) {
  EXPECT_EQ(columns(""), 0U);
  EXPECT_EQ(columns("a\xc3\xa4\xe2\x82\xac"), 3U);
}

TEST(terminal_text, wide_characters_take_two_columns_and_marks_none) {
  EXPECT_EQ(columns("\u65e5\u672c"), 4U);
  EXPECT_EQ(columns("e\u0301"), 1U);
  EXPECT_EQ(columns("\U0001F600"), 2U);
}

TEST(terminal_text, direction_changing_characters_are_shown) {
  EXPECT_EQ(printable("a\u202e"), "a\\xe2\\x80\\xae");
  EXPECT_EQ(printable("\u2028"), "\\xe2\\x80\\xa8");
  EXPECT_EQ(printable("\u2067"), "\\xe2\\x81\\xa7");
}

TEST(terminal_text, end_is_replaced_by_an_ellipsis) {
  EXPECT_EQ(cut_end("abcdef", 6), "abcdef");
  EXPECT_EQ(cut_end("abcdef", 4), "abc\u2026");
  EXPECT_EQ(cut_end("abcdef", 0), "");
  EXPECT_EQ(cut_end("\u65e5\u672c\u8a9e", 4), "\u65e5\u2026");
}

TEST(terminal_text, middle_is_replaced_by_an_ellipsis) {
  EXPECT_EQ(cut_middle("news-of-the-day.mpg", 11), "news-\u2026y.mpg");
  EXPECT_EQ(cut_middle("short.mpg", 11), "short.mpg");
  EXPECT_EQ(cut_middle("abcdef", 3), "ab\u2026");
}

TEST(terminal_text, mark_stays_with_its_character) {
  EXPECT_EQ(cut_middle("abcdef\u0301g", 4), "a\u2026f\u0301g");
  EXPECT_EQ(cut_middle("abc\u65e5\u0301g", 4), "a\u2026g");
}

TEST(terminal_text, padding_counts_columns) {
  EXPECT_EQ(padded("\u65e5", 4), "\u65e5  ");
  EXPECT_EQ(padded("abc", 2), "abc");
}
