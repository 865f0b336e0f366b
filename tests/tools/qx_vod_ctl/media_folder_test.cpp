// The media files below a folder.
#include <filesystem>
#include <fstream>

#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include "tools/qx_vod_ctl/media_folder.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

namespace {

namespace fs = std::filesystem;

class folder {
public:
  folder() {
    char pattern[] = "/tmp/ctl_folder.XXXXXX";
    path_ = mkdtemp(pattern);
  }
  ~folder() { fs::remove_all(path_); }
  folder(const folder&) = delete;
  folder& operator=(const folder&) = delete;

  std::string file(const std::string& name) const {
    fs::create_directories(fs::path(path_ + "/" + name).parent_path());
    std::ofstream(path_ + "/" + name) << "x";
    return path_ + "/" + name;
  }
  const std::string& path() const { return path_; }

private:
  std::string path_;
};

}  // namespace

TEST(media_folder, files_of_all_depths_in_the_order_of_their_names) {
  const folder top;
  const auto b = top.file("b.MPG");
  const auto deep = top.file("a/deep/clip.mkv");
  const auto c = top.file("c.mxf");
  EXPECT_THAT(read_media_folder(top.path()).files, ElementsAre(deep, b, c));
}

TEST(media_folder, other_names_are_counted) {
  const folder top;
  top.file("cover.jpg");
  top.file("notes");
  const auto found = read_media_folder(top.path());
  EXPECT_THAT(found.files, IsEmpty());
  EXPECT_EQ(found.skipped, 2U);
}

TEST(media_folder, hidden_and_linked_files_are_ignored) {
  const folder top;
  top.file(".hidden.mpg");
  top.file(".metadata/clip.mpg");
  const auto clip = top.file("clip.mpg");
  fs::create_symlink("clip.mpg", top.path() + "/link.mpg");
  fs::create_directory_symlink(top.path(), top.path() + "/loop");
  EXPECT_THAT(read_media_folder(top.path()).files, ElementsAre(clip));
}

TEST(media_folder, missing_one_is_reported) {
  EXPECT_THAT(read_media_folder("/nonexistent").unreadable,
              ElementsAre(Pair("/nonexistent", "No such file or directory")));
}

TEST(media_folder, rest_is_found_if_a_subfolder_cannot_be_read) {
  const folder top;
  top.file("closed/clip.mpg");
  const auto after = top.file("open/clip.mpg");
  const auto before = top.file("a.mpg");
  ASSERT_EQ(chmod(top.path().c_str(), 0755), 0);
  ASSERT_EQ(chmod((top.path() + "/closed").c_str(), 0), 0);
  const uid_t user = geteuid();
  ASSERT_TRUE(user != 0 || seteuid(65534) == 0);
  const auto found = read_media_folder(top.path());
  ASSERT_EQ(seteuid(user), 0);
  EXPECT_EQ(chmod((top.path() + "/closed").c_str(), 0755), 0);
  EXPECT_THAT(found.files, ElementsAre(before, after));
  EXPECT_THAT(found.unreadable, ElementsAre(Pair(top.path() + "/closed", "Permission denied")));
}
