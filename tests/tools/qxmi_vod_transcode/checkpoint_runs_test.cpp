// How many engines the tool starts at the same time when it may choose.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/cpu.h"
#include "tests/support/media/made_media.h"
#include "tests/support/skip.h"
#include "tests/tools/qxmi_vod_transcode/checkpoint_bench.h"

using namespace qx_test;
using testing::HasSubstr;
using testing::Not;

namespace {

namespace fs = std::filesystem;

constexpr const char* two_at_once = "up to 2 at the same time";

// Small pictures, for which one engine leaves much of two processors idle, and enough segments for
// two engines, but not for more.
class checkpoint_runs : public checkpoint_bench {
protected:
  checkpoint_runs() {
    configure("checkpoint.segment_seconds=2\ncheckpoint.min_seconds=6\ncheckpoint.runs=0\n");
    source = make_media(settings, "long.mkv",
                        "-f lavfi -i testsrc2=s=64x36:r=5:d=60 -c:v libx264 -preset ultrafast "
                        "-g 10 -pix_fmt yuv420p");
    fs::create_directory(metadata_);
  }

  // The tool's log of a whole transcode with these options.
  std::string log_with(const std::vector<std::string>& options) const {
    std::vector<std::string> words = {"--profile", "36",   "-f",     "mp4",
                                      "-o",        output, "--file", source};
    words.insert(words.begin(), options.begin(), options.end());
    EXPECT_EQ(run_tool("qxmi_vod_transcode", words).end.status, 0);
    std::ifstream file(metadata_ + "/vod.log");
    return {std::istreambuf_iterator<char>(file), {}};
  }

private:
  const std::string metadata_ = folder.file(".out.mp4.metadata");
};

}  // namespace

TEST_F(checkpoint_runs, left_to_the_tool_are_two_where_one_leaves_processors_idle) {
  if (how_many_cpus() < 2) { QX_SKIP_OR_FAIL_IN_CI("one processor is never idle"); }
  EXPECT_THAT(log_with({}), HasSubstr(two_at_once));
}

TEST_F(checkpoint_runs, left_to_the_tool_are_one_with_one_thread) {
  EXPECT_THAT(log_with({"--max-threads", "1"}), Not(HasSubstr(two_at_once)));
}

TEST_F(checkpoint_runs, left_to_the_tool_are_one_with_the_share_of_one_processor) {
  const std::size_t share = std::max<std::size_t>(1, 100 / how_many_cpus());
  EXPECT_THAT(log_with({"--cpu-cap", std::to_string(share)}), Not(HasSubstr(two_at_once)));
}
