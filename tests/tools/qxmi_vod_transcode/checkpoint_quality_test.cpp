// How good a transcode is where one run continued another.
#include <csignal>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/checkpoint/film_checks.h"
#include "tests/support/media/made_media.h"
#include "tests/support/wait_until.h"
#include "tests/tools/qxmi_vod_transcode/checkpoint_bench.h"

using namespace qx_test;

namespace {

constexpr double most_loss = 0.002;  // of likeness (SSIM), beside one piece
constexpr long segment_frames = 50;

class checkpoint_quality : public checkpoint_bench {
protected:
  // The pictures go through `filter`.
  void make_film(const std::string& filter) {
    source =
        make_media(settings, "film.mkv",
                   "-f lavfi -i testsrc2=s=160x90:r=25:d=12," + filter +
                       " -f lavfi -i aevalsrc=0.3*sin(2000*t*t):s=44100:d=12 "
                       "-c:v libx264 -preset ultrafast -crf 16 -pix_fmt yuv420p -c:a aac -ac 2");
  }

  std::vector<std::string> arguments_for(const std::string& result) const {
    return {"--profile", "90", "-f", "mp4", "-o", result, "--file", source};
  }
  std::string made_in_one_piece() const {
    const std::string path = settings.file("one.mp4");
    configure("checkpoint=no\n");
    EXPECT_EQ(run_tool("qxmi_vod_transcode", arguments_for(path)).end.status, 0);
    configure("checkpoint=yes\ncheckpoint.segment_seconds=2\ncheckpoint.min_seconds=6\n");
    return path;
  }
  void make_with_seam_after(std::size_t segments) {
    std::vector<std::string> slowly = arguments_for(output);
    slowly.insert(slowly.begin(), {"--cpu-cap", "10"});
    tool_run run("qxmi_vod_transcode", slowly);
    ASSERT_TRUE(wait_until([&] { return finished() >= segments; }));
    run.signal_group(SIGKILL);
    run.wait();
    expect_resumed(run_tool("qxmi_vod_transcode", arguments_for(output)),
                   static_cast<long>(segments));
  }
};

}  // namespace

TEST_F(checkpoint_quality, a_seam_is_as_like_the_source_as_one_piece) {
  make_film("null");
  const std::string one_piece = made_in_one_piece();
  make_with_seam_after(2);
  EXPECT_LE(loss_at_seams(output, one_piece, source, segment_frames), most_loss);
}

// So much noise that the encoder needs all of the highest bit rate.
TEST_F(checkpoint_quality, a_seam_keeps_within_the_bit_rate) {
  make_film("noise=alls=50:allf=t");
  make_with_seam_after(2);
  EXPECT_GE(lowest_buffer_fill(output), 0.0);
}
