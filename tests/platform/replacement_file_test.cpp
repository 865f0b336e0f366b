// Files that receive their final name once they are complete.
#include <cerrno>
#include <filesystem>
#include <string>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/replacement_file.h"
#include "tests/platform/test_folder.h"
#include "tests/support/files.h"

using qx_test::exists;
using qx_test::read_file;
using qx_test::test_folder;
using qx_test::write_file;

namespace {

class replacement : public testing::Test {
protected:
  replacement_file made() const {
    return replacement_file::with_random_name(folder_.file("target."));
  }

  std::size_t files() const {
    const std::filesystem::directory_iterator all(folder_.path());
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
  }

  test_folder folder_;
  const std::string target_ = folder_.file("target");
};

TEST_F(replacement, random_name_has_the_prefix_and_a_private_file) {
  const replacement_file file = made();
  ASSERT_TRUE(file.valid());
  EXPECT_EQ(file.name().rfind(target_ + ".", 0), 0U);
  EXPECT_EQ(file.name().size(), target_.size() + 7);
  struct stat status {};
  ASSERT_EQ(stat(file.name().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0600U);
  EXPECT_NE(fcntl(file.fd(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(replacement, file_that_cannot_be_created_is_not_valid) {
  const auto file = replacement_file::with_random_name(folder_.file("missing/x"));
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(file.valid());
}

TEST_F(replacement, target_is_replaced_by_the_complete_file) {
  write_file(target_, "old");
  replacement_file file = made();
  EXPECT_TRUE(file.write("n") && file.write("ew"));
  EXPECT_EQ(read_file(target_), "old");
  EXPECT_TRUE(file.sync() && file.close() && file.rename_to(target_));
  EXPECT_EQ(read_file(target_), "new");
  EXPECT_EQ(files(), 1U);
}

TEST_F(replacement, file_that_was_not_renamed_is_removed_and_errno_preserved) {
  {
    const replacement_file file = made();
    EXPECT_EQ(files(), 1U);
    errno = ENOSPC;
  }
  EXPECT_EQ(errno, ENOSPC);
  EXPECT_EQ(files(), 0U);
}

TEST_F(replacement, renamed_file_is_kept) {
  {
    replacement_file file = made();
    ASSERT_TRUE(file.rename_to(target_));
    EXPECT_EQ(file.name(), "");
  }
  EXPECT_TRUE(exists(target_));
}

TEST_F(replacement, failed_rename_leaves_the_target_alone) {
  ASSERT_EQ(mkdir(target_.c_str(), 0755), 0);
  {
    replacement_file file = made();
    EXPECT_FALSE(file.rename_to(target_));
    EXPECT_EQ(errno, EISDIR);
  }
  EXPECT_EQ(files(), 1U);
}

TEST_F(replacement, new_name_is_not_taken_from_another_file) {
  write_file(target_, "old");
  {
    replacement_file file = made();
    EXPECT_FALSE(file.rename_to_new(target_));
    EXPECT_EQ(errno, EEXIST);
  }
  EXPECT_EQ(read_file(target_), "old");
  EXPECT_EQ(files(), 1U);
}

TEST_F(replacement, new_name_is_given_to_one_file) {
  replacement_file file = made();
  EXPECT_TRUE(file.write("new") && file.rename_to_new(target_));
  EXPECT_EQ(read_file(target_), "new");
  EXPECT_EQ(files(), 1U);
}

TEST_F(replacement, names_are_relative_to_the_given_directory) {
  const unique_fd directory(open(folder_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  unique_fd part(openat(directory.get(), "part", O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
  replacement_file file(std::move(part), "part", directory.get());
  EXPECT_TRUE(file.write("new") && file.rename_to("target"));
  EXPECT_EQ(read_file(target_), "new");
}

TEST_F(replacement, moved_file_has_one_owner) {
  replacement_file kept;
  {
    replacement_file file = made();
    kept = std::move(file);
  }
  EXPECT_TRUE(exists(kept.name()));
  kept = replacement_file();
  EXPECT_EQ(files(), 0U);
}

}  // namespace
