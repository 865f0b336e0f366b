// The body as a CGI program is given it.
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/clock.h"
#include "platform/unique_fd.h"
#include "tools/vod_cgi/cgi_input.h"

namespace {

// A pipe with those bytes; its other end stays open until it is finished.
class cgi_body_pipe : public testing::Test {
protected:
  void SetUp() override {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    read_end.reset(ends[0]);
    write_end.reset(ends[1]);
  }
  body_result read(const std::string& length, std::uint64_t wait_us = 60000000) {
    return read_body(read_end.get(), length, monotonic_clock_us() + wait_us, body);
  }
  void send(const std::string& bytes) {
    ASSERT_EQ(write(write_end.get(), bytes.data(), bytes.size()),
              static_cast<ssize_t>(bytes.size()));
  }

  unique_fd read_end;
  unique_fd write_end;
  std::string body;
};

TEST_F(cgi_body_pipe, is_read_to_its_length_and_no_further) {
  send("abcdef");
  EXPECT_EQ(read("4"), body_result::ok);
  EXPECT_EQ(body, "abcd");
}

TEST_F(cgi_body_pipe, without_a_length_is_read_to_its_end) {
  send("abc");
  write_end.reset();
  EXPECT_EQ(read(""), body_result::ok);
  EXPECT_EQ(body, "abc");
}

TEST_F(cgi_body_pipe, of_length_0_waits_for_nothing) {
  EXPECT_EQ(read("0"), body_result::ok);
}

TEST_F(cgi_body_pipe, that_ends_early_is_incomplete) {
  send("abc");
  write_end.reset();
  EXPECT_EQ(read("4"), body_result::incomplete);
}

TEST_F(cgi_body_pipe, over_the_limit_is_refused_by_its_length_alone) {
  EXPECT_EQ(read("65537"), body_result::too_large);
  EXPECT_EQ(read("99999999999999999999999"), body_result::too_large);
}

TEST_F(cgi_body_pipe, over_the_limit_without_a_length_is_refused) {
  send(std::string(40000, 'x'));
  const unique_fd other(dup(write_end.get()));
  const pid_t child = fork();
  if (child == 0) {
    const std::string more(30000, 'x');
    const ssize_t put = write(other.get(), more.data(), more.size());
    _exit(put > 0 ? 0 : 1);
  }
  EXPECT_EQ(read(""), body_result::too_large);
  EXPECT_LE(body.size(), cgi_body_limit + 1);
}

TEST_F(cgi_body_pipe, with_a_length_that_is_not_a_number_is_refused) {
  EXPECT_EQ(read("-1"), body_result::bad_length);
  EXPECT_EQ(read("4x"), body_result::bad_length);
  EXPECT_EQ(read(" 4"), body_result::bad_length);
}

TEST_F(cgi_body_pipe, that_does_not_arrive_is_not_waited_for_longer) {
  send("abc");
  EXPECT_EQ(read("4", 20000), body_result::timeout);
}

}  // namespace
