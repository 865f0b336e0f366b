// Names as long as a file system has them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/made_media.h"
#include "tests/support/media/media_check.h"
#include "tests/support/media/test_media.h"

using namespace qx_test;
using testing::Contains;
using testing::UnorderedElementsAre;

namespace {

std::string long_name(std::size_t length, const std::string& ending) {
  return std::string(length - ending.size(), 'x') + ending;
}

}  // namespace

TEST(transcode_names, of_250_bytes_work_for_source_and_result) {
  const scratch_folder folder;
  const std::string source = long_name(250, ".mov");
  const std::string made = long_name(250, ".mp4");
  copy_to(folder.file(source), test_media("silent.mp4"));
  const tool_result result = run_tool(
      "qxmi_vod_transcode", {"--profile", "180", "-o", made, "--file", source}, folder.path());
  EXPECT_EQ(result.end.status, 0) << (result.errors.empty() ? "" : result.errors[0]);
  EXPECT_THAT(folder.names(), UnorderedElementsAre(source, made));
  EXPECT_FALSE(inspect(folder.file(made)).is_null());
}

TEST(transcode_names, of_255_bytes_work) {
  const scratch_folder folder;
  const std::string source = long_name(255, ".mov");
  const std::string made = long_name(255, ".mp4");
  copy_to(folder.file(source), test_media("silent.mp4"));
  EXPECT_THAT(run_tool("qxmi_vod_transcode", {"--quote", "--file", source}, folder.path()).output,
              Contains(".. 180"));
  EXPECT_EQ(run_tool("qxmi_vod_transcode", {"--profile", "180", "-o", made, "--file", source},
                     folder.path())
                .end.status,
            0);
  EXPECT_THAT(folder.names(), UnorderedElementsAre(source, made));
}
