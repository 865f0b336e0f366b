// Comparing the beginnings and ends of texts, and splitting lines.
#include <string>

#include <gtest/gtest.h>

#include "platform/text.h"

namespace {

std::string chomped(std::string text) {
  return chomp(text.data());
}

// "name|value" as divided, or "(none)" if the line is not a pair.
std::string divided(void (*divide)(char*, char**, char**), std::string line) {
  char* name = line.data();
  char* value = line.data();
  divide(line.data(), &name, &value);
  if (name == nullptr || value == nullptr) {
    EXPECT_EQ(name, value);
    return "(none)";
  }
  return std::string(name) + "|" + value;
}
std::string strict(const std::string& line) {
  return divided(divide_name_equ_value_pair, line);
}
std::string loose(const std::string& line) {
  return divided(divide_name_equ_value_pair_loose, line);
}

TEST(begins_with, prefix_may_be_empty_or_the_whole_text) {
  EXPECT_TRUE(begins_with("abc", ""));
  EXPECT_TRUE(begins_with("abc", "ab"));
  EXPECT_TRUE(begins_with("abc", "abc"));
}

TEST(begins_with, prefix_is_compared_byte_by_byte) {
  EXPECT_FALSE(begins_with("abc", "b"));
  EXPECT_FALSE(begins_with("abc", "aB"));
  EXPECT_FALSE(begins_with("ab", "abc"));
}

TEST(ends_with, suffix_may_be_empty_or_the_whole_text) {
  EXPECT_TRUE(ends_with("abc", ""));
  EXPECT_TRUE(ends_with("abc", "bc"));
  EXPECT_TRUE(ends_with("abc", "abc"));
}

TEST(ends_with, suffix_is_compared_byte_by_byte) {
  EXPECT_FALSE(ends_with("abc", "b"));
  EXPECT_FALSE(ends_with("abc", "bC"));
  EXPECT_FALSE(ends_with("bc", "abc"));
}

TEST(lower_case, only_the_letters_of_ascii_change) {
  EXPECT_EQ(lower_case("AbZ@[ 09"), "abz@[ 09");
  EXPECT_EQ(lower_case("\xc3\x84\xff"), "\xc3\x84\xff");
}

TEST(chomp, every_line_end_is_cut) {
  EXPECT_EQ(chomped("a b\n"), "a b");
  EXPECT_EQ(chomped("a\r\n"), "a");
  EXPECT_EQ(chomped("a\n\r\n\n"), "a");
  EXPECT_EQ(chomped("\r\n"), "");
}

TEST(chomp, only_trailing_line_ends_are_cut) {
  EXPECT_EQ(chomped("a \t"), "a \t");
  EXPECT_EQ(chomped("a\nb"), "a\nb");
  EXPECT_EQ(chomped(""), "");
}

TEST(chomp, argument_is_returned) {
  char text[] = "a\n";
  EXPECT_EQ(chomp(text), text);
}

TEST(divide_strict, first_equals_sign_divides) {
  EXPECT_EQ(strict("op=vod"), "op|vod");
  EXPECT_EQ(strict("a=b=c"), "a|b=c");
}

TEST(divide_strict, blanks_are_kept) {
  EXPECT_EQ(strict(" a = b "), " a | b ");
  EXPECT_EQ(strict("# a=b"), "# a|b");
}

TEST(divide_strict, value_may_be_empty) {
  EXPECT_EQ(strict("a="), "a|");
}

TEST(divide_strict, line_without_name_or_equals_sign_is_not_a_pair) {
  EXPECT_EQ(strict("abc"), "(none)");
  EXPECT_EQ(strict("=b"), "(none)");
  EXPECT_EQ(strict(""), "(none)");
}

TEST(divide_loose, blanks_around_name_and_value_are_dropped) {
  EXPECT_EQ(loose(" \tmax profile \t=  720 \t"), "max profile|720");
  EXPECT_EQ(loose("a=b c"), "a|b c");
}

TEST(divide_loose, first_equals_sign_divides) {
  EXPECT_EQ(loose("a = b = c"), "a|b = c");
}

TEST(divide_loose, empty_value_is_empty_text) {
  EXPECT_EQ(loose("a ="), "a|");
  EXPECT_EQ(loose("a = \t"), "a|");
}

TEST(divide_loose, comments_are_not_pairs) {
  EXPECT_EQ(loose("# a = b"), "(none)");
  EXPECT_EQ(loose(" \t; a = b"), "(none)");
}

TEST(divide_loose, comment_signs_inside_a_line_are_text) {
  EXPECT_EQ(loose("a = #b;"), "a|#b;");
}

TEST(divide_loose, lines_without_name_or_equals_sign_are_not_pairs) {
  EXPECT_EQ(loose(""), "(none)");
  EXPECT_EQ(loose(" \t "), "(none)");
  EXPECT_EQ(loose("abc"), "(none)");
  EXPECT_EQ(loose(" = b"), "(none)");
}

}  // namespace
