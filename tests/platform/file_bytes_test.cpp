// Reading and writing all bytes of an open file.
#include <cerrno>
#include <csignal>
#include <string>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/file_bytes.h"
#include "platform/unique_fd.h"
#include "tests/platform/test_folder.h"
#include "tests/support/files.h"

using qx_test::test_folder;
using qx_test::write_file;

namespace {

unique_fd opened(const std::string& path) {
  return unique_fd(open(path.c_str(), O_RDONLY | O_CLOEXEC));
}

class file_bytes : public testing::Test {
protected:
  void SetUp() override {
    int ends[2] = {-1, -1};
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    read_end_.reset(ends[0]);
    write_end_.reset(ends[1]);
  }

  test_folder folder_;
  unique_fd read_end_;
  unique_fd write_end_;
  std::string text_ = "before ";
};

TEST_F(file_bytes, all_of_a_file_is_appended) {
  const std::string content = std::string(200000, 'x') + '\0' + "end";
  write_file(folder_.file("a"), content);
  EXPECT_TRUE(read_all(opened(folder_.file("a")).get(), 300000, text_));
  EXPECT_EQ(text_, "before " + content);
}

TEST_F(file_bytes, text_may_reach_the_limit) {
  write_file(folder_.file("a"), "1234");
  EXPECT_TRUE(read_all(opened(folder_.file("a")).get(), 11, text_));
  EXPECT_EQ(text_, "before 1234");
}

TEST_F(file_bytes, text_over_the_limit_is_truncated_and_refused) {
  write_file(folder_.file("a"), "12345");
  EXPECT_FALSE(read_all(opened(folder_.file("a")).get(), 11, text_));
  EXPECT_EQ(errno, EFBIG);
  EXPECT_EQ(text_, "before 1234");
}

TEST_F(file_bytes, read_error_is_returned) {
  EXPECT_FALSE(read_all(opened(folder_.path()).get(), 100, text_));
  EXPECT_EQ(errno, EISDIR);
  EXPECT_EQ(text_, "before ");
}

TEST_F(file_bytes, more_than_a_pipe_holds_is_written) {
  const std::string content(1000000, 'x');
  std::string arrived;
  std::thread reader([&] { EXPECT_TRUE(read_all(read_end_.get(), content.size(), arrived)); });
  EXPECT_TRUE(write_all(write_end_.get(), content));
  write_end_.reset();
  reader.join();
  EXPECT_EQ(arrived, content);
}

TEST_F(file_bytes, write_error_is_returned) {
  const auto before = signal(SIGPIPE, SIG_IGN);
  read_end_.reset();
  EXPECT_FALSE(write_all(write_end_.get(), "x"));
  EXPECT_EQ(errno, EPIPE);
  signal(SIGPIPE, before);
}

TEST_F(file_bytes, a_file_is_copied_up_to_its_end) {
  write_file(folder_.file("a"), "1234567");
  const unique_fd source = opened(folder_.file("a"));
  EXPECT_EQ(copy_bytes(source.get(), write_end_.get(), 4), 4);
  EXPECT_EQ(copy_bytes(source.get(), write_end_.get(), 4), 3);
  EXPECT_EQ(copy_bytes(source.get(), write_end_.get(), 4), 0);
  write_end_.reset();
  EXPECT_TRUE(read_all(read_end_.get(), 100, text_));
  EXPECT_EQ(text_, "before 1234567");
}

// The kernel does not copy from a pipe to a file by itself.
TEST_F(file_bytes, what_the_kernel_does_not_copy_is_copied_too) {
  ASSERT_TRUE(write_all(write_end_.get(), "123"));
  write_end_.reset();
  const unique_fd target(
      open(folder_.file("a").c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  EXPECT_EQ(copy_bytes(read_end_.get(), target.get(), 2), 2);
  EXPECT_EQ(copy_bytes(read_end_.get(), target.get(), 2), 1);
  EXPECT_EQ(copy_bytes(read_end_.get(), target.get(), 2), 0);
  EXPECT_TRUE(read_all(opened(folder_.file("a")).get(), 100, text_));
  EXPECT_EQ(text_, "before 123");
}

TEST_F(file_bytes, a_copy_that_fails_says_why) {
  write_file(folder_.file("a"), "123");
  const unique_fd target = opened("/dev/null");
  EXPECT_EQ(copy_bytes(opened(folder_.file("a")).get(), target.get(), 2), -1);
  EXPECT_EQ(errno, EBADF);
}

TEST_F(file_bytes, nothing_to_write_is_not_an_error) {
  EXPECT_TRUE(write_all(-1, ""));
}

}  // namespace
