// The command line of qxmi_remote_transcode.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/tool_run.h"

using namespace qx_test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

void expect_usage(const std::vector<std::string>& arguments, const std::string& cause) {
  const tool_result result = run_tool("qxmi_remote_transcode", arguments);
  EXPECT_EQ(result.end.status, 2);
  EXPECT_THAT(result.output, IsEmpty());
  EXPECT_THAT(result.errors, ElementsAre(HasSubstr(cause)));
}

}  // namespace

TEST(remote_options, wrong_ones_are_one_line_and_status_2) {
  expect_usage({}, "NAME and FILE");
  expect_usage({"name"}, "NAME and FILE");
  expect_usage({"--bogus"}, "--bogus");
  expect_usage({"name", "/file", "more"}, "more");
  expect_usage({"../name", "/file"}, "../name");
  expect_usage({"a\nb", "/file"}, "a\\nb");
}

TEST(remote_options, help_and_version_succeed) {
  const tool_result help = run_tool("qxmi_remote_transcode", {"--help"});
  EXPECT_EQ(help.end.status, 0);
  EXPECT_THAT(help.output, Contains(HasSubstr("NAME")));
  const tool_result version = run_tool("qxmi_remote_transcode", {"--version"});
  EXPECT_EQ(version.end.status, 0);
  EXPECT_THAT(version.output, ElementsAre(HasSubstr("qxmi_remote_transcode ")));
}
