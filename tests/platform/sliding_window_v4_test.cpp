// The byte FIFO. A buffer is drawn as text: '-' has been read, letters are unread, '_' is free.
#include <csignal>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/time.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/sliding_window_v4.h"
#include "platform/unique_fd.h"

// By default, the address sanitizer ends the program when an allocation fails; this turns that off.
extern "C" const char* __asan_default_options() {  // NOLINT(bugprone-reserved-identifier)
  return "allocator_may_return_null=1";
}

namespace {

struct sliding_window : testing::Test {
  sliding_window_v4* buffer = sliding_window_v4_create_buffer(8);
  unique_fd read_end;
  unique_fd write_end;

  sliding_window() {
    int ends[2];
    EXPECT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
    read_end.reset(ends[0]);
    write_end.reset(ends[1]);
  }
  ~sliding_window() override { sliding_window_v4_destroy(buffer); }

  void feed(const std::string& text) {
    EXPECT_EQ(write(write_end.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
  }
  ssize_t refill(std::size_t max = 0) {
    return sliding_window_v4_refill_from_fd(buffer, read_end.get(), max);
  }
  void fill(const std::string& text) {
    feed(text);
    EXPECT_EQ(refill(), static_cast<ssize_t>(text.size()));
  }
  std::string picture() const {
    std::string text(static_cast<std::size_t>(buffer->read_pos - buffer->region_start), '-');
    text.append(buffer->read_pos, buffer->write_pos);
    return text.append(static_cast<std::size_t>(buffer->region_end - buffer->write_pos), '_');
  }
};

TEST_F(sliding_window, new_buffer_is_empty_and_sane) {
  EXPECT_TRUE(sliding_window_v4_is_sane(buffer));
  EXPECT_EQ(picture(), "________");
  EXPECT_EQ(sliding_window_v4_data_available(buffer), 0U);
  EXPECT_EQ(sliding_window_v4_can_write(buffer), 8U);
}

TEST_F(sliding_window, no_buffer_is_made_for_zero_or_too_many_bytes) {
  EXPECT_EQ(sliding_window_v4_create_buffer(0), nullptr);
  EXPECT_EQ(sliding_window_v4_create_buffer(SIZE_MAX / 4), nullptr);
}

TEST_F(sliding_window, destroy_accepts_null_and_returns_null) {
  EXPECT_EQ(sliding_window_v4_destroy(nullptr), nullptr);
  EXPECT_EQ(sliding_window_v4_destroy(sliding_window_v4_create_buffer(1)), nullptr);
}

TEST_F(sliding_window, null_is_not_sane) {
  EXPECT_FALSE(sliding_window_v4_is_sane(nullptr));
}

TEST_F(sliding_window, positions_out_of_order_are_not_sane) {
  unsigned char* const p = buffer->region_start;
  const sliding_window_v4 disorders[] = {{p + 1, p + 8, p, p + 4},
                                         {p, p + 8, p + 5, p + 4},
                                         {p, p + 3, p, p + 4},
                                         {nullptr, nullptr, nullptr, nullptr}};
  for (const sliding_window_v4& disorder : disorders) {
    EXPECT_FALSE(sliding_window_v4_is_sane(&disorder));
  }
}

TEST_F(sliding_window, full_and_read_out_buffers_are_sane) {
  fill("abcdefgh");
  EXPECT_TRUE(sliding_window_v4_is_sane(buffer));
  buffer->read_pos = buffer->write_pos;
  EXPECT_TRUE(sliding_window_v4_is_sane(buffer));
}

TEST_F(sliding_window, refill_appends_the_available_bytes) {
  fill("abc");
  fill("de");
  EXPECT_EQ(picture(), "abcde___");
  EXPECT_EQ(sliding_window_v4_data_available(buffer), 5U);
  EXPECT_EQ(sliding_window_v4_can_write(buffer), 3U);
}

TEST_F(sliding_window, refill_takes_at_most_max) {
  feed("abcdef");
  EXPECT_EQ(refill(2), 2);
  EXPECT_EQ(picture(), "ab______");
}

TEST_F(sliding_window, refill_takes_at_most_what_fits) {
  feed("abcdefghij");
  EXPECT_EQ(refill(100), 8);
  EXPECT_EQ(picture(), "abcdefgh");
}

TEST_F(sliding_window, refill_of_a_full_buffer_reads_nothing_and_is_not_the_end) {
  fill("abcdefgh");
  feed("i");
  EXPECT_EQ(refill(), 0);
}

TEST_F(sliding_window, refill_from_an_empty_pipe_reads_nothing) {
  EXPECT_EQ(refill(), 0);
  EXPECT_EQ(picture(), "________");
}

TEST_F(sliding_window, refill_at_the_end_of_file_is_negative) {
  write_end.reset();
  EXPECT_LT(refill(), 0);
  EXPECT_EQ(picture(), "________");
}

TEST_F(sliding_window, refill_from_a_bad_descriptor_is_negative) {
  EXPECT_LT(sliding_window_v4_refill_from_fd(buffer, -1, 0), 0);
}

int signal_pipe = -1;
void write_on_signal(int) {
  const ssize_t put = write(signal_pipe, "x", 1);
  static_cast<void>(put);
}

// The read blocks until the signal arrives, which both interrupts it and provides a byte to read.
TEST_F(sliding_window, refill_is_retried_after_a_signal) {
  ASSERT_EQ(fcntl(read_end.get(), F_SETFL, 0), 0);
  signal_pipe = write_end.get();
  struct sigaction action {};
  action.sa_handler = write_on_signal;
  ASSERT_EQ(sigaction(SIGALRM, &action, nullptr), 0);
  const itimerval in_100_ms{{0, 0}, {0, 100000}};
  ASSERT_EQ(setitimer(ITIMER_REAL, &in_100_ms, nullptr), 0);
  EXPECT_EQ(refill(), 1);
  EXPECT_EQ(picture(), "x_______");
}

TEST_F(sliding_window, empty_writes_all_there_is) {
  fill("abcd");
  EXPECT_EQ(sliding_window_v4_empty_to_fd(buffer, write_end.get(), 0), 4);
  EXPECT_EQ(picture(), "----____");
  char bytes[8];
  EXPECT_EQ(read(read_end.get(), bytes, sizeof(bytes)), 4);
  EXPECT_EQ(std::string(bytes, 4), "abcd");
}

TEST_F(sliding_window, empty_writes_at_most_max) {
  fill("abcd");
  EXPECT_EQ(sliding_window_v4_empty_to_fd(buffer, write_end.get(), 3), 3);
  EXPECT_EQ(picture(), "---d____");
}

TEST_F(sliding_window, empty_with_nothing_unread_writes_nothing) {
  EXPECT_EQ(sliding_window_v4_empty_to_fd(buffer, -1, 0), 0);
}

TEST_F(sliding_window, empty_to_a_full_pipe_writes_nothing) {
  fill("abcd");
  const std::string block(65536, 'x');
  while (write(write_end.get(), block.data(), block.size()) > 0) {}
  EXPECT_EQ(sliding_window_v4_empty_to_fd(buffer, write_end.get(), 0), 0);
  EXPECT_EQ(picture(), "abcd____");
}

TEST_F(sliding_window, empty_to_a_pipe_that_nobody_reads_is_negative) {
  ASSERT_NE(signal(SIGPIPE, SIG_IGN), SIG_ERR);
  fill("abcd");
  read_end.reset();
  EXPECT_LT(sliding_window_v4_empty_to_fd(buffer, write_end.get(), 0), 0);
  EXPECT_EQ(picture(), "abcd____");
}

TEST_F(sliding_window, lazy_flush_moves_when_space_is_less_than_half) {
  fill("abcde");
  buffer->read_pos += 2;
  ASSERT_EQ(picture(), "--cde___");
  sliding_window_v4_lazy_flush(buffer);
  EXPECT_EQ(picture(), "cde_____");
}

TEST_F(sliding_window, lazy_flush_leaves_a_buffer_with_half_its_space_free) {
  fill("abcd");
  buffer->read_pos += 2;
  sliding_window_v4_lazy_flush(buffer);
  EXPECT_EQ(picture(), "--cd____");
}

TEST_F(sliding_window, lazy_flush_starts_over_when_nothing_is_unread) {
  fill("ab");
  buffer->read_pos += 2;
  sliding_window_v4_lazy_flush(buffer);
  EXPECT_EQ(picture(), "________");
}

TEST_F(sliding_window, lazy_flush_of_a_full_unread_buffer_keeps_it) {
  fill("abcdefgh");
  sliding_window_v4_lazy_flush(buffer);
  EXPECT_EQ(picture(), "abcdefgh");
}

// Three bytes are less than half of seven: the half must not be rounded down.
TEST_F(sliding_window, lazy_flush_takes_half_of_an_odd_region_exactly) {
  buffer->region_end -= 1;
  fill("abcd");
  buffer->read_pos += 1;
  sliding_window_v4_lazy_flush(buffer);
  EXPECT_EQ(picture(), "bcd____");
}

TEST_F(sliding_window, bytes_come_out_as_they_went_in) {
  std::string out;
  for (char c = 'a'; c <= 'z'; ++c) {
    fill({c, c, c});
    out.append(buffer->read_pos, buffer->write_pos);
    buffer->read_pos = buffer->write_pos;
    sliding_window_v4_lazy_flush(buffer);
  }
  EXPECT_EQ(out.substr(0, 6), "aaabbb");
  EXPECT_EQ(out.size(), 78U);
}

}  // namespace
