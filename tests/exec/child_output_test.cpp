// Lines from a child's output.
#include <cstring>
#include <string_view>

#include <gtest/gtest.h>

#include "exec/child_output.h"
#include "platform/sliding_window_v4.h"

namespace {

class child_output : public ::testing::Test {
protected:
  ~child_output() override { sliding_window_v4_destroy(buffer_); }

  void print(std::string_view bytes) {
    memcpy(buffer_->write_pos, bytes.data(), bytes.size());
    buffer_->write_pos += bytes.size();
  }
  void expect_line(const char* text) {
    const char* const line = take_line(buffer_);
    ASSERT_NE(line, nullptr) << "no line in place of: " << text;
    EXPECT_STREQ(line, text);
  }
  void expect_no_line() { EXPECT_EQ(take_line(buffer_), nullptr); }

  sliding_window_v4* buffer_ = sliding_window_v4_create_buffer(64);
};

}  // namespace

TEST_F(child_output, there_is_no_line_without_a_buffer) {
  EXPECT_EQ(take_line(nullptr), nullptr);
}

TEST_F(child_output, there_is_no_line_in_an_empty_buffer) {
  expect_no_line();
}

TEST_F(child_output, lines_come_one_by_one) {
  print("one\ntwo\n");
  expect_line("one");
  expect_line("two");
  expect_no_line();
}

TEST_F(child_output, carriage_return_before_the_line_feed_is_dropped) {
  print("one\r\n\r\n");
  expect_line("one");
  expect_line("");
}

TEST_F(child_output, only_one_carriage_return_is_dropped) {
  print("one\r\r\n");
  expect_line("one\r");
}

TEST_F(child_output, carriage_return_within_a_line_is_kept) {
  print("a\rb\n");
  expect_line("a\rb");
}

TEST_F(child_output, carriage_return_consumed_before_is_left_alone) {
  print("\r\n");
  ++buffer_->read_pos;
  expect_line("");
  EXPECT_EQ(*buffer_->region_start, '\r');
}

TEST_F(child_output, empty_line_is_an_empty_text) {
  print("\n");
  expect_line("");
  expect_no_line();
}

TEST_F(child_output, partial_line_waits_for_the_rest) {
  print("Enco");
  expect_no_line();
  EXPECT_EQ(sliding_window_v4_data_available(buffer_), 4U);
  print("ding\n");
  expect_line("Encoding");
}

TEST_F(child_output, line_may_fill_the_buffer) {
  print("0123456789012345678901234567890123456789012345678901234567890123");
  expect_no_line();
  buffer_->write_pos[-1] = '\n';
  expect_line("012345678901234567890123456789012345678901234567890123456789012");
  EXPECT_EQ(sliding_window_v4_data_available(buffer_), 0U);
}

using child_output_death = child_output;

TEST_F(child_output_death, corrupt_buffer_ends_the_service) {
  GTEST_FLAG_SET(death_test_style, "fast");
  print("one\n");
  unsigned char* const good = buffer_->write_pos;
  buffer_->write_pos = buffer_->region_end + 1;
  EXPECT_DEATH(take_line(buffer_), "sliding_window_v4_is_sane\\(proc_stdout_buffer\\)");
  buffer_->write_pos = good;
}
