// Removing directories that other accounts can change, and finding out whether they can.
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/directory_tree.h"
#include "platform/unique_fd.h"
#include "tests/platform/own_mnt.h"
#include "tests/platform/test_folder.h"
#include "tests/support/skip.h"

using qx_test::test_folder;

namespace {

namespace fs = std::filesystem;

constexpr uid_t stranger = 65534;

struct directory_tree : ::testing::Test {
  test_folder folder;
  const std::string top = folder.file("");

  std::string make_folder(const std::string& name, mode_t mode = 0755) const {
    const std::string path = folder.file(name);
    EXPECT_EQ(mkdir(path.c_str(), 0700), 0);
    EXPECT_EQ(chmod(path.c_str(), mode), 0);
    return path;
  }
  void write(const std::string& name) const { std::ofstream(folder.file(name)) << "text"; }
  bool exists(const std::string& name) const {
    return fs::exists(fs::symlink_status(folder.file(name)));
  }
  bool remove(const char* name) const {
    const unique_fd directory(open(top.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    return remove_tree(directory.get(), name);
  }
};

}  // namespace

TEST_F(directory_tree, is_removed_with_everything_in_it) {
  make_folder("a");
  make_folder("a/b");
  write("a/b/file");
  write("a/.hidden");
  write("kept");
  EXPECT_TRUE(remove("a"));
  EXPECT_FALSE(exists("a"));
  EXPECT_TRUE(exists("kept"));
}

TEST_F(directory_tree, may_be_a_file_or_missing) {
  write("file");
  EXPECT_TRUE(remove("file"));
  EXPECT_FALSE(exists("file"));
  EXPECT_TRUE(remove("file"));
}

TEST_F(directory_tree, does_not_follow_links) {
  make_folder("a");
  make_folder("elsewhere");
  write("elsewhere/kept");
  fs::create_directory_symlink("../elsewhere", folder.file("a/link"));
  fs::create_directory_symlink("elsewhere", folder.file("link"));
  EXPECT_TRUE(remove("a"));
  EXPECT_TRUE(remove("link"));
  EXPECT_FALSE(exists("link"));
  EXPECT_TRUE(exists("elsewhere/kept"));
}

TEST_F(directory_tree, that_cannot_be_removed_is_reported) {
  if (geteuid() == 0) {
    EXPECT_FALSE(remove_tree(-1, "a"));
    EXPECT_EQ(errno, EBADF);
    return;
  }
  make_folder("a");
  write("a/file");
  make_folder("b");
  ASSERT_EQ(chmod(folder.file("a").c_str(), 0500), 0);
  EXPECT_FALSE(remove("a"));
  EXPECT_EQ(errno, EACCES);
  ASSERT_EQ(chmod(folder.file("a").c_str(), 0700), 0);
}

TEST(directory_tree_path, below_a_folder_that_others_can_change_may_be_redirected) {
  qx_test::in_own_mnt([] {
    const auto make_folder = [](const char* path, mode_t mode) {
      EXPECT_EQ(mkdir(path, 0700), 0);
      EXPECT_EQ(chmod(path, mode), 0);
    };
    EXPECT_EQ(chmod("/mnt", 0755), 0);
    make_folder("/mnt/closed", 0755);
    make_folder("/mnt/closed/films", 0777);  // may be changed, but not replaced
    make_folder("/mnt/open", 0777);
    make_folder("/mnt/open/films", 0755);
    make_folder("/mnt/group", 0775);
    make_folder("/mnt/group/films", 0755);
    fs::create_directory_symlink("closed", "/mnt/link");
    EXPECT_FALSE(others_may_redirect("/mnt/closed/films"));
    EXPECT_FALSE(others_may_redirect("/mnt//closed/films/"));
    EXPECT_TRUE(others_may_redirect("/mnt/open/films"));
    EXPECT_TRUE(others_may_redirect("/mnt/group/films"));
    EXPECT_TRUE(others_may_redirect("/mnt/link/films"));
    EXPECT_TRUE(others_may_redirect("/mnt/none/films"));
  });
}

TEST(directory_tree_path, below_a_folder_of_another_account_may_be_redirected) {
  if (geteuid() != 0) { QX_SKIP_OR_FAIL_IN_CI("not root"); }
  qx_test::in_own_mnt([] {
    EXPECT_EQ(chmod("/mnt", 0755), 0);
    EXPECT_TRUE(fs::create_directories("/mnt/home/films"));
    EXPECT_EQ(chown("/mnt/home", stranger, stranger), 0);
    EXPECT_TRUE(others_may_redirect("/mnt/home/films"));
    EXPECT_FALSE(others_may_redirect("/mnt/home"));
  });
}
