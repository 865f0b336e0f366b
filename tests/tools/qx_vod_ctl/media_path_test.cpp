// Paths as the service takes them.
#include <cstdlib>
#include <filesystem>

#include <unistd.h>

#include <gtest/gtest.h>

#include "tools/qx_vod_ctl/media_path.h"

TEST(media_path, absolute_path_stays) {
  EXPECT_EQ(absolute_path("/mnt/a b", "/home"), "/mnt/a b");
  EXPECT_EQ(absolute_path("/mnt/a", ""), "/mnt/a");
}

TEST(media_path, relative_path_is_resolved_in_the_folder) {
  EXPECT_EQ(absolute_path("a.mpg", "/mnt/media"), "/mnt/media/a.mpg");
  EXPECT_EQ(absolute_path("-a.mpg", "/"), "/-a.mpg");
}

TEST(media_path, dots_and_double_slashes_are_removed) {
  EXPECT_EQ(absolute_path("./x//../a.mpg", "/mnt/./media/"), "/mnt/media/a.mpg");
  EXPECT_EQ(absolute_path("../other/..", "/mnt/media"), "/mnt");
  EXPECT_EQ(absolute_path("//mnt///a/", ""), "/mnt/a");
  EXPECT_EQ(absolute_path("...", "/mnt"), "/mnt/...");
}

TEST(media_path, nothing_is_above_the_root) {
  EXPECT_EQ(absolute_path("../../..", "/mnt"), "/");
  EXPECT_EQ(absolute_path("/../mnt", ""), "/mnt");
}

TEST(media_path, is_empty_if_it_cannot_be_resolved) {
  EXPECT_EQ(absolute_path("", "/mnt"), "");
  EXPECT_EQ(absolute_path("a.mpg", ""), "");
}

TEST(media_path, working_folder_keeps_the_link_that_led_to_it) {
  char folder[] = "/tmp/qx.XXXXXX";
  ASSERT_NE(mkdtemp(folder), nullptr);
  const std::string link = std::string(folder) + "/link";
  std::filesystem::create_directory_symlink(folder, link);
  ASSERT_EQ(chdir(link.c_str()), 0);
  setenv("PWD", link.c_str(), 1);
  EXPECT_EQ(working_folder(), link);
  setenv("PWD", "/usr", 1);
  EXPECT_EQ(working_folder(), folder);
  std::filesystem::remove_all(folder);
  EXPECT_EQ(working_folder(), "");
}
