// Which files are accepted as a source, and whether changes are noticed.
#include <cstring>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/media/tool_run.h"
#include "tools/media/source_file.h"

using namespace qx_test;

namespace {

class source_file_test : public testing::Test {
protected:
  void write(const std::string& text) const { std::ofstream(path) << text; }
  std::string refusal(const std::string& name) {
    EXPECT_FALSE(source.open(name, error));
    return error;
  }

  scratch_folder folder;
  std::string path = folder.file("film.mp4");
  source_file source;
  std::string error;
};

}  // namespace

TEST_F(source_file_test, a_regular_file_is_taken) {
  write("content");
  ASSERT_TRUE(source.open(path, error)) << error;
  EXPECT_EQ(source.size(), 7);
}

TEST_F(source_file_test, the_engine_gets_the_file_that_was_opened) {
  write("content");
  ASSERT_TRUE(source.open(path, error)) << error;
  std::filesystem::rename(path, folder.file("moved"));
  write("another");
  const std::string url = source.url();
  ASSERT_EQ(url.rfind("file:", 0), 0U);
  std::string text;
  std::getline(std::ifstream(url.substr(5)), text);
  EXPECT_EQ(text, "content");
}

TEST_F(source_file_test, a_link_to_one_is_taken) {
  write("content");
  std::filesystem::create_symlink(path, folder.file("link"));
  EXPECT_TRUE(source.open(folder.file("link"), error)) << error;
}

TEST_F(source_file_test, anything_else_is_refused) {
  ASSERT_EQ(mkfifo(folder.file("fifo").c_str(), 0600), 0);
  EXPECT_EQ(refusal(folder.file("fifo")), "is not a regular file");
  EXPECT_EQ(refusal("/dev/zero"), "is not a regular file");
  EXPECT_EQ(refusal(folder.path()), "is a directory");
  EXPECT_EQ(refusal(path), "No such file or directory");
}

TEST_F(source_file_test, a_socket_is_refused) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  ASSERT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(refusal(path), "is not a regular file");
  close(fd);
}

TEST_F(source_file_test, an_empty_file_is_refused) {
  write("");
  EXPECT_EQ(refusal(path), "is empty");
}

TEST_F(source_file_test, is_unchanged_if_nobody_touched_it) {
  write("content");
  ASSERT_TRUE(source.open(path, error)) << error;
  EXPECT_TRUE(source.unchanged());
}

TEST_F(source_file_test, sees_that_it_grew) {
  write("content");
  ASSERT_TRUE(source.open(path, error)) << error;
  std::ofstream(path, std::ios::app) << "more";
  EXPECT_FALSE(source.unchanged());
}

TEST_F(source_file_test, sees_that_it_was_rewritten) {
  write("content");
  ASSERT_TRUE(source.open(path, error)) << error;
  const timespec times[2] = {{1, 0}, {1, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  EXPECT_FALSE(source.unchanged());
}

TEST_F(source_file_test, sees_that_it_was_replaced) {
  write("content");
  ASSERT_TRUE(source.open(path, error)) << error;
  std::filesystem::rename(path, folder.file("other"));
  EXPECT_FALSE(source.unchanged());
  write("content");
  EXPECT_FALSE(source.unchanged());
}

TEST_F(source_file_test, recognises_itself_under_another_name) {
  write("content");
  ASSERT_TRUE(source.open(path, error)) << error;
  std::filesystem::create_hard_link(path, folder.file("link"));
  EXPECT_TRUE(source.is_same_as(folder.file("link")));
  std::ofstream(folder.file("other")) << "content";
  EXPECT_FALSE(source.is_same_as(folder.file("other")));
}

TEST_F(source_file_test, only_data_counts_and_holes_do_not) {
  write(std::string(100000, 'x'));
  ASSERT_EQ(truncate(path.c_str(), off_t{1} << 40), 0);
  ASSERT_TRUE(source.open(path, error)) << error;
  EXPECT_GE(source.data_size(), 100000U);
  EXPECT_LT(source.data_size(), 1000000U);
  EXPECT_TRUE(source.is_mostly_holes());
}

TEST_F(source_file_test, a_small_file_may_have_any_holes) {
  write("x");
  ASSERT_EQ(truncate(path.c_str(), off_t{1} << 30), 0);
  ASSERT_TRUE(source.open(path, error)) << error;
  EXPECT_FALSE(source.is_mostly_holes());
}

TEST_F(source_file_test, data_after_a_hole_counts) {
  write("x");
  ASSERT_EQ(truncate(path.c_str(), 50'000'000), 0);
  std::ofstream(path, std::ios::app) << std::string(100000, 'x');
  ASSERT_TRUE(source.open(path, error)) << error;
  EXPECT_GE(source.data_size(), 100001U);
  EXPECT_LT(source.data_size(), 1000000U);
}
