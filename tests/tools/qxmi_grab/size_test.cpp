// The size and shape of thumbnails of real videos.
#include <gtest/gtest.h>

#include "tests/support/media/made_media.h"
#include "tests/support/media/media_check.h"
#include "tests/support/media/test_media.h"

using namespace qx_test;

namespace {

// Grabs with the service's own words and expects a JPEG of that size.
void expect_thumbnail(const std::string& source, const std::string& height, int width, int lines,
                      bool clip = true) {
  const scratch_folder folder;
  const std::string picture = folder.file("vod.thumbnail.jpg");
  std::vector<std::string> arguments = {"--keep-aspect-ratio",
                                        "--jpeg-quality",
                                        "75",
                                        "--jpeg",
                                        "--height",
                                        height,
                                        "-t",
                                        "random",
                                        "-o",
                                        picture,
                                        "--file",
                                        source,
                                        "--no-uid"};
  if (clip) { arguments.insert(arguments.begin() + 1, "--clip-aspect-ratio"); }
  const tool_result result = run_tool("qxmi_grab", arguments);
  ASSERT_EQ(result.end.status, 0) << (result.errors.empty() ? source : result.errors[0]);
  EXPECT_TRUE(result.output.empty() && result.errors.empty());
  const json11::Json made = stream_of(inspect(picture), "video");
  EXPECT_EQ(made["codec_name"].string_value(), "mjpeg");
  EXPECT_EQ(made["nb_read_frames"].string_value(), "1");
  EXPECT_EQ(made["width"].int_value(), width) << source;
  EXPECT_EQ(made["height"].int_value(), lines) << source;
}

}  // namespace

TEST(grab_size, is_the_height_asked_for) {
  expect_thumbnail(test_media("interlaced.ts"), "720", 1280, 720);
}

TEST(grab_size, is_never_above_the_source) {
  expect_thumbnail(test_media("progressive.mp4"), "1080", 640, 360);
  expect_thumbnail(test_media("odd_size.mkv"), "720", 426, 240);
}

TEST(grab_size, is_360_lines_for_the_audio_profile) {
  expect_thumbnail(test_media("large.mp4"), "audio", 640, 360);
}

TEST(grab_size, pixels_become_square) {
  expect_thumbnail(test_media("anamorphic_16_9.ts"), "576", 1024, 576, false);
  expect_thumbnail(test_media("anamorphic_4_3.ts"), "576", 768, 576, false);
}

TEST(grab_size, is_cut_to_wide_screen) {
  expect_thumbnail(test_media("anamorphic_4_3.ts"), "360", 640, 360);
}

TEST(grab_size, rotation_counts) {
  expect_thumbnail(test_media("rotated.mp4"), "720", 568, 320);
  expect_thumbnail(test_media("rotated.mp4"), "720", 180, 320, false);
}

TEST(grab_size, a_bare_stream_is_no_exception) {
  expect_thumbnail(test_media("raw.h264"), "90", 160, 90);
}

TEST(grab_size, a_cinema_film_loses_its_sides) {
  const scratch_folder folder;
  const std::string film =
      make_media(folder, "cinema.mkv", "-f lavfi -i testsrc2=size=480x200:rate=25 -t 1 -c:v mpeg4");
  expect_thumbnail(film, "180", 320, 180);
}
