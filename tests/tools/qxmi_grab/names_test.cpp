// File names that a shell, an option parser or an engine might trip over.
#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/made_media.h"
#include "tests/support/media/media_check.h"
#include "tests/support/media/test_media.h"

using namespace qx_test;
using testing::UnorderedElementsAre;

namespace {

// Grabs `name`.jpg out of `name`, both in the current folder.
void expect_name_works(const std::string& name) {
  const scratch_folder folder;
  copy_to(folder.file(name), test_media("silent.mp4"));
  const std::string picture = name + ".jpg";
  const tool_result result = run_tool(
      "qxmi_grab", {"-t", "1", "--height", "90", "-o", picture, "--file", name}, folder.path());
  EXPECT_EQ(result.end.status, 0) << name;
  EXPECT_TRUE(result.errors.empty()) << name;
  EXPECT_THAT(folder.names(), UnorderedElementsAre(name, picture));
}

}  // namespace

TEST(grab_names, may_hold_blanks_and_quotes) {
  expect_name_works("a film.mp4");
  expect_name_works("it's \"one\".mp4");
  expect_name_works("$(reboot) `x` ; & | *?.mp4");
}

TEST(grab_names, are_not_patterns) {
  expect_name_works("film%03d.mp4");
  expect_name_works("100%.mp4");
}

TEST(grab_names, are_not_options) {
  expect_name_works("-film.mp4");
  expect_name_works("--help");
}

TEST(grab_names, are_not_protocols) {
  expect_name_works("concat:a.mp4");
  expect_name_works("http:film.mp4");
}

TEST(grab_names, may_hold_any_utf8) {
  expect_name_works("Öffentlich – 東京 🎬.mp4");
  expect_name_works("two\nlines.mp4");
}

TEST(grab_names, a_folder_is_no_pattern_either) {
  const scratch_folder folder;
  const std::string metadata = folder.file(".100%d.mp4.metadata");
  ASSERT_EQ(mkdir(metadata.c_str(), 0777), 0);
  const std::string picture = metadata + "/vod.thumbnail.jpg";
  const tool_result result =
      run_tool("qxmi_grab", {"-o", picture, "--file", test_media("silent.mp4")});
  EXPECT_EQ(result.end.status, 0);
  EXPECT_FALSE(inspect(picture).is_null());
}

TEST(grab_names, of_250_and_255_bytes_work_for_source_and_picture) {
  for (const std::size_t length : {250, 255}) {
    const scratch_folder folder;
    const std::string source = std::string(length - 4, 'x') + ".mov";
    const std::string picture = std::string(length - 4, 'x') + ".jpg";
    copy_to(folder.file(source), test_media("silent.mp4"));
    const tool_result result = run_tool(
        "qxmi_grab", {"-t", "1", "--height", "90", "-o", picture, "--file", source}, folder.path());
    EXPECT_EQ(result.end.status, 0) << length;
    EXPECT_THAT(folder.names(), UnorderedElementsAre(source, picture));
  }
}
