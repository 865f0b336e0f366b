// The media probe on real files.
#include <fstream>

#include <sys/stat.h>

#include <gtest/gtest.h>

#include "tests/support/media/test_media.h"
#include "tests/support/media/tool_run.h"
#include "tools/media/media_probe.h"

using namespace qx_test;

namespace {

media_info probed(const std::string& name, probe_kinds kinds = probe_kinds::films_and_sound) {
  media_info info;
  std::string error;
  EXPECT_TRUE(probe_media(test_media(name), info, error, kinds)) << error;
  return info;
}

std::string refusal(const std::string& path) {
  media_info info;
  std::string error;
  EXPECT_FALSE(probe_media(path, info, error));
  return error;
}

}  // namespace

TEST(media_probe, describes_a_broadcast_recording) {
  const media_info info = probed("interlaced.ts");
  ASSERT_NE(info.picture(), nullptr);
  EXPECT_EQ(info.container, "mpegts");
  EXPECT_EQ(info.picture()->codec, "mpeg2video");
  EXPECT_TRUE(info.picture()->interlaced);
  EXPECT_EQ(info.picture()->displayed.width, 1920);
  EXPECT_EQ(info.picture()->displayed.height, 1080);
  EXPECT_DOUBLE_EQ(info.picture()->frame_rate.value(), 25.0);
  EXPECT_NEAR(info.duration, 3.0, 0.1);
  EXPECT_NEAR(info.start, 1234.567, 2.0);
}

TEST(media_probe, describes_the_sound_of_a_recording) {
  const media_info info = probed("interlaced.ts");
  ASSERT_NE(info.sound(), nullptr);
  EXPECT_EQ(info.sound()->codec, "mp2");
  EXPECT_EQ(info.sound()->channels, 2);
}

TEST(media_probe, counts_the_shape_of_pixels) {
  EXPECT_EQ(probed("anamorphic_4_3.ts").picture()->displayed.width, 768);
  EXPECT_EQ(probed("anamorphic_16_9.ts").picture()->displayed.width, 1024);
}

TEST(media_probe, counts_rotation) {
  const media_info info = probed("rotated.mp4");
  EXPECT_EQ(info.picture()->rotation, 90);
  EXPECT_EQ(info.picture()->displayed.width, 180);
  EXPECT_EQ(info.picture()->displayed.height, 320);
}

TEST(media_probe, keeps_film_rate_exact) {
  const rational rate = probed("film_rate.mp4").picture()->frame_rate;
  EXPECT_EQ(rate.num, 24000);
  EXPECT_EQ(rate.den, 1001);
}

TEST(media_probe, distinguishes_a_cover_from_a_video) {
  const media_info info = probed("covered.mp3");
  EXPECT_EQ(info.picture(), nullptr);
  EXPECT_NE(info.cover(), nullptr);
  EXPECT_NE(info.sound(), nullptr);
}

TEST(media_probe, takes_the_sound_of_the_larger_program) {
  const media_info info = probed("two_programs.ts");
  ASSERT_EQ(info.audio.size(), 2U);
  EXPECT_EQ(info.picture()->displayed.height, 240);
  EXPECT_EQ(info.sound()->programs, info.picture()->programs);
}

TEST(media_probe, recognises_high_dynamic_range) {
  EXPECT_TRUE(probed("hdr.mkv").picture()->high_dynamic_range());
  EXPECT_FALSE(probed("progressive.mp4").picture()->high_dynamic_range());
}

TEST(media_probe, takes_a_still_only_when_asked) {
  const media_info info = probed("still.png", probe_kinds::stills_too);
  EXPECT_TRUE(info.still);
  EXPECT_EQ(info.picture()->displayed.width, 200);
  EXPECT_NE(refusal(test_media("still.png")), "");
}

TEST(media_probe, takes_a_still_with_a_percent_sign_in_its_name) {
  const scratch_folder folder;
  const std::string path = folder.file("a%03d.png");
  std::ofstream(path) << std::ifstream(test_media("still.png")).rdbuf();
  media_info info;
  std::string error;
  EXPECT_TRUE(probe_media(path, info, error, probe_kinds::stills_too)) << error;
}

TEST(media_probe, refuses_a_file_that_is_not_media) {
  EXPECT_EQ(refusal(test_media("text.mp4")), "Invalid data found when processing input");
  EXPECT_EQ(refusal(test_media("empty.mp4")), "is empty");
}

TEST(media_probe, never_opens_a_fifo) {
  const scratch_folder folder;
  ASSERT_EQ(mkfifo(folder.file("film.mp4").c_str(), 0600), 0);
  EXPECT_EQ(refusal(folder.file("film.mp4")), "is not a regular file");
}

TEST(media_probe, refuses_a_directory) {
  const scratch_folder folder;
  EXPECT_EQ(refusal(folder.path()), "is a directory");
}

TEST(media_probe, does_not_trust_an_estimated_length) {
  EXPECT_TRUE(probed("raw.h264").duration_estimated);
  EXPECT_TRUE(probed("tone.aac").duration_estimated);
  EXPECT_FALSE(probed("progressive.mp4").duration_estimated);
}

TEST(media_probe, measures_a_stream_without_a_clock) {
  double duration = 0.0;
  std::string error;
  ASSERT_TRUE(
      measure_duration(test_media("raw.h264"), probed("raw.h264"), 0, 25.0, duration, error))
      << error;
  EXPECT_NEAR(duration, 2.0, 0.1);
}

TEST(media_probe, measures_sound_by_its_packets) {
  double duration = 0.0;
  std::string error;
  ASSERT_TRUE(measure_duration(test_media("tone.aac"), probed("tone.aac"), 0, 0.0, duration, error))
      << error;
  EXPECT_NEAR(duration, 3.0, 0.1);
}

TEST(media_probe, finds_streams_and_packets_of_a_result) {
  media_info info;
  packet_timeline timeline(false);
  std::string error;
  ASSERT_TRUE(probe_result(test_media("progressive.mp4"), info, timeline, error)) << error;
  ASSERT_NE(info.picture(), nullptr);
  double end = 0.0;
  EXPECT_TRUE(timeline.end_of(info.picture()->index, end));
  EXPECT_NEAR(end, info.duration, 0.1);
}

TEST(media_probe, refuses_a_result_that_is_not_media) {
  media_info info;
  packet_timeline timeline(false);
  std::string error;
  EXPECT_FALSE(probe_result(test_media("text.mp4"), info, timeline, error));
  EXPECT_EQ(error, refusal(test_media("text.mp4")));
}
