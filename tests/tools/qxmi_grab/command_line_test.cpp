// The command line of qxmi_grab.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/tool_run.h"

using namespace qx_test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

void expect_usage(const std::vector<std::string>& arguments, const std::string& cause) {
  const tool_result result = run_tool("qxmi_grab", arguments);
  EXPECT_EQ(result.end.status, 2);
  EXPECT_TRUE(result.output.empty());
  EXPECT_THAT(result.errors, ElementsAre(HasSubstr(cause)));
}

}  // namespace

TEST(grab_options, wrong_ones_are_one_line_and_status_2) {
  expect_usage({}, "--file");
  expect_usage({"--bogus"}, "--bogus");
  expect_usage({"-o", "a.jpg"}, "--file");
  expect_usage({"--file", "a.mp4"}, "-o");
  expect_usage({"--file", "a.mp4", "-o", "a.jpg", "more"}, "more");
  expect_usage({"--file", "a.mp4", "-o", "a.jpg", "--jpeg-quality", "0"}, "--jpeg-quality");
  expect_usage({"--file", "a.mp4", "-o", "a.jpg", "--jpeg-quality", "101"}, "--jpeg-quality");
  expect_usage({"--file", "a.mp4", "-o", "a.jpg", "-t", "soon"}, "soon");
  expect_usage({"--file", "a.mp4", "-o", "a.jpg", "-t", "-1"}, "-1");
  expect_usage({"--file", "a.mp4", "-o", "a.jpg", "-t", "inf"}, "inf");
  expect_usage({"--file", "a.mp4", "-o", "a.jpg", "-t", ""}, "-t");
}

TEST(grab_options, help_and_version_succeed) {
  const tool_result help = run_tool("qxmi_grab", {"--help"});
  EXPECT_EQ(help.end.status, 0);
  EXPECT_THAT(help.output, Contains(HasSubstr("--clip-aspect-ratio")));
  const tool_result version = run_tool("qxmi_grab", {"--version"});
  EXPECT_EQ(version.end.status, 0);
  EXPECT_THAT(version.output, ElementsAre(HasSubstr("qxmi_grab ")));
}
