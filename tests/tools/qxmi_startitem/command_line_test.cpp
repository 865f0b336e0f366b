// The command line of qxmi_startitem.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/test_media.h"
#include "tests/support/media/tool_run.h"

using namespace qx_test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

void expect_usage(const std::vector<std::string>& arguments, const std::string& cause) {
  const tool_result result = run_tool("qxmi_startitem", arguments);
  EXPECT_EQ(result.end.status, 2);
  EXPECT_THAT(result.output, IsEmpty());
  EXPECT_THAT(result.errors, ElementsAre(HasSubstr(cause)));
}

}  // namespace

TEST(startitem_options, wrong_ones_are_one_line_and_status_2) {
  expect_usage({}, "--file");
  expect_usage({"--bogus"}, "--bogus");
  expect_usage({"--identify", "--create-meta", "--file"}, "--file");
  expect_usage({"--create-meta", "--file", "a"}, "--identify");
  expect_usage({"--identify", "--file", "a", "more"}, "more");
}

TEST(startitem_options, help_and_version_succeed) {
  const tool_result help = run_tool("qxmi_startitem", {"--help"});
  EXPECT_EQ(help.end.status, 0);
  EXPECT_THAT(help.output, Contains(HasSubstr("--create-meta")));
  const tool_result version = run_tool("qxmi_startitem", {"--version"});
  EXPECT_EQ(version.end.status, 0);
  EXPECT_THAT(version.output, ElementsAre(HasSubstr("qxmi_startitem ")));
}

TEST(startitem_options, without_create_meta_the_entries_are_printed) {
  const scratch_folder folder;
  const tool_result result =
      run_tool("qxmi_startitem", {"--identify", "--file", test_media("silent.mp4")});
  EXPECT_EQ(result.end.status, 0);
  EXPECT_THAT(result.output, Contains("file type=video/mp4"));
  EXPECT_THAT(result.output, Contains("height=180"));
  EXPECT_THAT(result.output, testing::Not(Contains(HasSubstr("audio"))));
}
