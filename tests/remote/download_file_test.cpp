// The file that a download continues or begins, also on a share that gives the files of root to
// another account: the test's own files get another owner while it has another identity for files.
#include <filesystem>

#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "remote/download_file.h"
#include "tests/platform/test_folder.h"
#include "tests/support/files.h"
#include "tests/support/skip.h"

using namespace qx_test;
using ::testing::ElementsAre;

namespace fs = std::filesystem;

namespace {

constexpr uid_t mapped_root = 1000;
constexpr uid_t somebody = 1001;

class download_file : public ::testing::Test {
protected:
  void SetUp() override {
    if (geteuid() != 0) { QX_SKIP_OR_FAIL_IN_CI("not root"); }
    ASSERT_EQ(chmod(folder_.path().c_str(), 0777), 0);
  }
  // A file in the place of the output, which everybody may write to.
  void leave(const std::string& text, uid_t owner) const {
    write_file(path_, text);
    ASSERT_EQ(chmod(path_.c_str(), 0666), 0);
    ASSERT_EQ(chown(path_.c_str(), owner, owner), 0);
  }
  // Prepares it as a process whose new files belong to that account.
  void prepare(uid_t owner) const {
    setfsuid(owner);
    prepare_download_file(path_);
    setfsuid(0);
  }
  struct stat status() const {
    struct stat found {};
    EXPECT_EQ(lstat(path_.c_str(), &found), 0);
    return found;
  }
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const auto& entry : fs::directory_iterator(folder_.path())) {
      found.push_back(entry.path().filename());
    }
    return found;
  }

  test_folder folder_;
  std::string path_ = folder_.file("clip.mp4");
};

class download_file_on_share : public download_file {};

}  // namespace

TEST_F(download_file, is_new_and_empty_at_first) {
  prepare(0);
  EXPECT_EQ(read_file(path_), "");
  EXPECT_TRUE(may_be_download_file(status()));
}

TEST_F(download_file, of_an_earlier_download_is_continued) {
  leave("half", 0);
  prepare(0);
  EXPECT_EQ(read_file(path_), "half");
  EXPECT_TRUE(may_be_download_file(status()));
}

TEST_F(download_file, of_another_account_is_replaced) {
  leave("planted", somebody);
  EXPECT_FALSE(may_be_download_file(status()));
  prepare(0);
  EXPECT_EQ(read_file(path_), "");
  EXPECT_EQ(status().st_uid, 0U);
  EXPECT_TRUE(may_be_download_file(status()));
}

TEST_F(download_file_on_share, of_an_earlier_download_is_continued) {
  leave("half", mapped_root);
  prepare(mapped_root);
  EXPECT_EQ(read_file(path_), "half");
  EXPECT_TRUE(may_be_download_file(status()));
  EXPECT_THAT(names(), ElementsAre("clip.mp4"));
}

TEST_F(download_file_on_share, of_another_account_is_replaced) {
  leave("planted", somebody);
  prepare(mapped_root);
  EXPECT_EQ(read_file(path_), "");
  EXPECT_EQ(status().st_uid, mapped_root);
  EXPECT_TRUE(may_be_download_file(status()));
  EXPECT_THAT(names(), ElementsAre("clip.mp4"));
}

TEST_F(download_file_on_share, with_a_second_name_is_replaced) {
  leave("half", mapped_root);
  fs::create_hard_link(path_, folder_.file("kept"));
  prepare(mapped_root);
  EXPECT_EQ(read_file(path_), "");
  EXPECT_EQ(read_file(folder_.file("kept")), "half");
}

TEST_F(download_file_on_share, is_not_a_link) {
  write_file(folder_.file("kept"), "kept");
  fs::create_symlink("kept", path_);
  prepare(mapped_root);
  EXPECT_TRUE(S_ISREG(status().st_mode));
  EXPECT_EQ(read_file(folder_.file("kept")), "kept");
}
