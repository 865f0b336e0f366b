// Reading the metadata of one media file.
#include <cerrno>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "platform/media_metadata.h"
#include "tests/platform/test_folder.h"

using namespace qx_test;

namespace {

struct media_metadata_test : ::testing::Test {
  test_folder folder;
  std::string media = folder.file("a.ts");

  void write(const std::string& text) const {
    const std::string directory = folder.file(".a.ts.metadata");
    std::filesystem::create_directory(directory);
    std::ofstream(directory + "/metadata") << text;
  }
};

TEST_F(media_metadata_test, gives_entries_and_length) {
  write("file type=video/mp2t\nduration=61.400\n");
  const media_metadata metadata(media);
  EXPECT_EQ(metadata.error(), 0);
  EXPECT_STREQ(metadata.entry("file type"), "video/mp2t");
  EXPECT_EQ(metadata.entry("width"), nullptr);
  EXPECT_EQ(metadata.length(), 61.4);
}

TEST_F(media_metadata_test, reports_a_file_without_metadata) {
  const media_metadata metadata(media);
  EXPECT_EQ(metadata.error(), ENOENT);
  EXPECT_EQ(metadata.entry("file type"), nullptr);
  EXPECT_EQ(metadata.length(), 0);
}

TEST_F(media_metadata_test, reports_why_it_cannot_be_read) {
  write("no entry\n");
  EXPECT_EQ(media_metadata(media).error(), EINVAL);
  EXPECT_EQ(media_metadata("a.ts").error(), EINVAL);
}

TEST(length_of_duration, ignores_implausible_lengths) {
  for (const char* text : {"nan", "inf", "-3", "1e300", "", "long"}) {
    EXPECT_EQ(length_of_duration(text), 0) << text;
  }
  EXPECT_EQ(length_of_duration(nullptr), 0);
}

}  // namespace
