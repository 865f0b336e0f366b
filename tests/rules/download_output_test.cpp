// Reading the lines of the download tool.
#include <gtest/gtest.h>

#include "rules/download_output.h"

TEST(download_output, percentage_follows_amount_and_dots) {
  EXPECT_EQ(download_progress(" 3150K .......... .......... .......... 2% 1.21M 1m40s"), 200);
  EXPECT_EQ(download_progress("     0K .......... 100% 10M=1s"), 10000);
  EXPECT_EQ(download_progress(",,,,,,,, .......... 7%"), 700);
}

TEST(download_output, percentage_above_100_is_complete) {
  EXPECT_EQ(download_progress(" 1K ..... 101%"), 10000);
}

TEST(download_output, other_lines_give_no_progress) {
  for (const char* line : {"", "==> PASV ... done.", " 10K ..... done", " 10K ..... 5 1.2M",
                           "Length: 100 (unauthoritative)"}) {
    EXPECT_FALSE(download_progress(line)) << line;
  }
}

TEST(download_output, size_is_the_last_word_of_its_line) {
  EXPECT_EQ(announced_size("==> SIZE far.mp4 ... 12345"), 12345);
  EXPECT_EQ(announced_size("==> SIZE a ... 1 ... 0"), 0);
}

TEST(download_output, other_lines_give_no_size) {
  for (const char* line :
       {"", "==> SIZE far.mp4 ... done", "==> SIZE far.mp4 ... ", "==> SIZE far.mp4 12",
        " ==> SIZE far.mp4 ... 12", "==> RETR far.mp4 ... 12"}) {
    EXPECT_FALSE(announced_size(line)) << line;
  }
}
