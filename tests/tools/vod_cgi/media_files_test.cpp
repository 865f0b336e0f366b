// Addresses of VODs.
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "tools/vod_cgi/media_files.h"

namespace {

class cgi_vod : public testing::Test {
protected:
  void SetUp() override {
    char name[] = "/tmp/qx.XXXXXX";
    ASSERT_NE(mkdtemp(name), nullptr);
    folder.path = std::string(name) + "/";
  }
  void TearDown() override { std::filesystem::remove_all(folder.path); }

  std::string make(const std::string& name) const {
    std::filesystem::create_directories(std::filesystem::path(folder.path + name).parent_path());
    std::ofstream(folder.path + name) << "x";
    return folder.path + name;
  }

  vod_folder folder;
};

TEST_F(cgi_vod, has_an_address_in_which_every_byte_is_safe) {
  EXPECT_EQ(vod_url(folder, make("1.vod.720.\xc3\xa4 %#?\".mp4")),
            "vod/1.vod.720.%C3%A4%20%25%23%3F%22.mp4");
}

TEST_F(cgi_vod, has_no_address_if_it_is_missing) {
  EXPECT_EQ(vod_url(folder, folder.path + "a.mp4"), "");
}

TEST_F(cgi_vod, has_no_address_when_it_is_something_else) {
  EXPECT_EQ(vod_url(folder, make("a.txt")), "");
  EXPECT_EQ(vod_url(folder, make(".hidden.mp4")), "");
  EXPECT_EQ(vod_url(folder, make(".mp4")), "");
  EXPECT_EQ(vod_url(folder, make("deeper/a.mp4")), "");
  EXPECT_EQ(vod_url(folder, "/etc/passwd"), "");
  EXPECT_EQ(vod_url(folder, ""), "");
}

TEST_F(cgi_vod, has_no_address_when_it_is_a_link) {
  std::filesystem::create_symlink("/etc/passwd", folder.path + "a.mp4");
  EXPECT_EQ(vod_url(folder, folder.path + "a.mp4"), "");
}

TEST_F(cgi_vod, has_a_thumbnail_if_that_exists) {
  const std::string vod = make("a b.mp4");
  EXPECT_EQ(thumbnail_url(folder, vod), "");
  make(".a b.mp4.metadata/vod.thumbnail.jpg");
  EXPECT_EQ(thumbnail_url(folder, vod), "vod/.a%20b.mp4.metadata/vod.thumbnail.jpg");
}

}  // namespace
