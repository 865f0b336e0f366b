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
constexpr double most_loss_in_noise = 0.004;
constexpr long segment_frames = 50;

// So much that the encoder needs all of the highest bit rate.
constexpr const char* noise = "noise=alls=50:allf=t";

const std::string in_short_segments =
    "checkpoint=yes\ncheckpoint.segment_seconds=2\ncheckpoint.min_seconds=6\n";

class checkpoint_quality : public checkpoint_bench {
protected:
  // The pictures go through `filter`.
  void make_film(const std::string& filter) {
    source =
        make_media(settings, "film.mkv",
                   "-f lavfi -i testsrc2=s=160x90:r=25:d=12," + filter +
                       " -f lavfi -i aevalsrc=0.3*sin(500*t*t):s=44100:d=12 "
                       "-c:v libx264 -preset ultrafast -crf 16 -pix_fmt yuv420p -c:a aac -ac 2");
  }

  // With one thread, as an encoder with more of them gives another result each time.
  std::vector<std::string> arguments_for(const std::string& result) const {
    return {"--max-threads", "1", "--profile", "90", "-f", "mp4", "-o", result, "--file", source};
  }
  std::string made_in_one_piece() const {
    const std::string path = settings.file("one.mp4");
    configure("checkpoint=no\n");
    EXPECT_EQ(run_tool("qxmi_vod_transcode", arguments_for(path)).end.status, 0);
    configure(in_short_segments);
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
  // One segment each, so that all of them are between two engines.
  void make_with_several_engines() {
    configure(in_short_segments + "checkpoint.runs=2\n");
    const tool_result result = run_tool("qxmi_vod_transcode", arguments_for(output));
    EXPECT_EQ(result.end.status, 0);
    EXPECT_TRUE(result.errors.empty()) << "started over: " << result.errors[0];
  }
};

}  // namespace

TEST_F(checkpoint_quality, seams_between_engines_at_work_together_are_as_like_the_source) {
  make_film("null");
  const std::string one_piece = made_in_one_piece();
  make_with_several_engines();
  EXPECT_LE(loss_at_seams(output, one_piece, source, segment_frames), most_loss);
}

TEST_F(checkpoint_quality, a_seam_is_as_like_the_source_as_one_piece) {
  make_film("null");
  const std::string one_piece = made_in_one_piece();
  make_with_seam_after(2);
  EXPECT_LE(loss_at_seams(output, one_piece, source, segment_frames), most_loss);
}

TEST_F(checkpoint_quality, a_seam_in_noise_is_as_like_the_source_within_the_bit_rate) {
  make_film(noise);
  const std::string one_piece = made_in_one_piece();
  make_with_seam_after(3);
  EXPECT_LE(loss_at_seams(output, one_piece, source, segment_frames), most_loss_in_noise);
  EXPECT_GE(lowest_buffer_fill(output), 0.0);
}

TEST_F(checkpoint_quality, seams_in_noise_between_engines_at_work_together_keep_the_bit_rate) {
  make_film(noise);
  const std::string one_piece = made_in_one_piece();
  make_with_several_engines();
  EXPECT_LE(loss_at_seams(output, one_piece, source, segment_frames), most_loss_in_noise);
  EXPECT_GE(lowest_buffer_fill(output), 0.0);
}
