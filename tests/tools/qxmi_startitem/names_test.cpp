// File names that a shell, an option parser or an engine might trip over.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/test_media.h"
#include "tests/tools/qxmi_startitem/run.h"

using namespace qx_test;
using testing::Contains;
using testing::Pair;

namespace {

// The name alone, in the current folder: a path in front would hide a dash.
void expect_name_works(const std::string& name) {
  const scratch_folder folder;
  const std::string path = copy_to(folder.file(name), test_media("silent.mp4"));
  const tool_result result = run_tool("qxmi_startitem", startitem_arguments(name), folder.path());
  EXPECT_EQ(result.end.status, 0) << (result.errors.empty() ? name : result.errors[0]);
  EXPECT_THAT(metadata_of(path), Contains(Pair("file type", "video/mp4"))) << name;
  EXPECT_EQ(folder.names().size(), 2U);
}

}  // namespace

TEST(startitem_names, may_hold_blanks_and_quotes) {
  expect_name_works("a film.mp4");
  expect_name_works("it's \"one\".mp4");
  expect_name_works("$(reboot) `x` ; & | *?.mp4");
}

TEST(startitem_names, are_not_patterns) {
  expect_name_works("film%03d.mp4");
  expect_name_works("100%.mp4");
}

TEST(startitem_names, are_not_options) {
  expect_name_works("-film.mp4");
  expect_name_works("--help");
}

TEST(startitem_names, are_not_protocols) {
  expect_name_works("concat:a.mp4");
}

TEST(startitem_names, may_hold_any_utf8) {
  expect_name_works("Öffentlich – 東京 🎬.mp4");
  expect_name_works("two\nlines.mp4");
}

TEST(startitem_names, may_be_as_long_as_metadata_can_have_a_name) {
  expect_name_works(std::string(245, 'x'));
}

TEST(startitem_names, of_250_bytes_are_identified) {
  const scratch_folder folder;
  const std::string name(250, 'x');
  copy_to(folder.file(name), test_media("silent.mp4"));
  const tool_result result =
      run_tool("qxmi_startitem", {"--identify", "--file", name}, folder.path());
  EXPECT_EQ(result.end.status, 0);
  EXPECT_THAT(result.output, Contains("file type=video/mp4"));
}
