// Which moment the tool shows, and how it looks.
#include <algorithm>
#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/made_media.h"
#include "tests/support/media/made_recording.h"
#include "tests/support/media/test_media.h"

using namespace qx_test;
using testing::ElementsAre;
using testing::Gt;
using testing::Lt;

namespace {

// Grabs into `folder` and returns the picture's path.
std::string grabbed(const scratch_folder& folder, const std::string& source,
                    const std::string& moment, const std::string& height = "180") {
  std::string picture = folder.file("grabbed.jpg");
  const tool_result result =
      run_tool("qxmi_grab", {"-t", moment, "--height", height, "-o", picture, "--file", source});
  EXPECT_EQ(result.end.status, 0) << (result.errors.empty() ? "" : result.errors[0]);
  return picture;
}

// A film of 10 s that shows `scene` between `from` and `to`, and is black else.
std::string black_but(const scratch_folder& folder, const std::string& scene, double from,
                      double to) {
  const std::string shown = "gte(t," + std::to_string(from) + ")*lt(t," + std::to_string(to) + ")";
  return make_media(folder, "film.mp4",
                    "-f lavfi -i color=black:size=320x180:rate=10 -f lavfi -i " + scene +
                        "size=320x180:rate=10 -filter_complex overlay=enable='" + shown +
                        "' -t 10 -c:v libx264 -preset ultrafast -pix_fmt yuv420p");
}

// How much lines differ from their neighbours, beyond what they differ from those of their field.
int comb(const std::vector<int>& points, std::size_t width) {
  int excess = 0;
  for (std::size_t at = 0; at + 2 * width < points.size(); ++at) {
    excess +=
        std::abs(points[at] - points[at + width]) - std::abs(points[at] - points[at + 2 * width]);
  }
  return excess / static_cast<int>(points.size());
}

}  // namespace

TEST(grab_random, avoids_black) {
  const scratch_folder folder;
  const std::string film = black_but(folder, "testsrc2=", 4.0, 6.0);
  EXPECT_GT(brightness(grabbed(folder, film, "random")), 60);
}

TEST(grab_random, finds_the_one_bright_moment) {
  const scratch_folder folder;
  const std::string film = black_but(folder, "testsrc2=", 7.0, 7.6);
  EXPECT_GT(brightness(grabbed(folder, film, "random")), 60);
}

TEST(grab_random, takes_a_flat_colour_rather_than_black) {
  const scratch_folder folder;
  const std::string film = black_but(folder, "color=green:", 5.0, 6.0);
  EXPECT_GT(brightness(grabbed(folder, film, "random")), 40);
}

TEST(grab_random, shows_black_where_there_is_nothing_else) {
  const scratch_folder folder;
  const std::string film = black_but(folder, "color=black:", 0.0, 1.0);
  EXPECT_LT(brightness(grabbed(folder, film, "random")), 10);
}

TEST(grab_random, avoids_blurred_frames) {
  const scratch_folder folder;
  // The blurred part is bright, the sharp part is not, so that they differ in brightness.
  const std::string film = make_media(
      folder, "film.mp4",
      "-f lavfi -i testsrc2=size=320x180:rate=10 -t 10 -vf boxblur=12:enable='not(between(t,6,8))',"
      "eq=brightness=0.3:enable='not(between(t,6,8))' -c:v libx264 -preset ultrafast");
  const int sharp = brightness(grabbed(folder, film, "7"));
  const int blurred = brightness(grabbed(folder, film, "2"));
  ASSERT_GT(blurred, sharp + 40);
  EXPECT_NEAR(brightness(grabbed(folder, film, "random")), sharp, 20);
}

TEST(grab_random, stays_away_from_beginning_and_end) {
  const scratch_folder folder;
  // White in the first and the last tenth, and brighter than anything between.
  const std::string film = make_media(
      folder, "film.mp4",
      "-f lavfi -i testsrc2=size=320x180:rate=10 -t 10 -vf "
      "drawbox=t=fill:c=white:enable='lt(t,0.9)+gt(t,9.2)' -c:v libx264 -preset ultrafast");
  EXPECT_LT(brightness(grabbed(folder, film, "random")), 200);
}

TEST(grab_random, works_with_a_single_frame) {
  const scratch_folder folder;
  const std::string film = make_media(
      folder, "film.mp4", "-f lavfi -i testsrc2=size=320x180:rate=25 -frames:v 1 -c:v libx264");
  EXPECT_GT(brightness(grabbed(folder, film, "random")), 60);
}

TEST(grab_random, works_across_the_end_of_a_broadcast_clock) {
  const scratch_folder folder;
  EXPECT_GT(brightness(grabbed(folder, test_media("step.ts"), "random")), 200);
}

TEST(grab_moment, is_the_one_asked_for) {
  const scratch_folder folder;
  EXPECT_LT(brightness(grabbed(folder, test_media("step.ts"), "1.5")), 10);
  EXPECT_GT(brightness(grabbed(folder, test_media("step.ts"), "2.5")), 240);
}

TEST(grab_moment, is_exact_far_from_a_key_frame) {
  const scratch_folder folder;
  const std::string film =
      make_media(folder, "film.ts",
                 "-f lavfi -i color=black:size=160x90:rate=25 -vf "
                 "drawbox=t=fill:c=white:enable='between(t,3,3.9)' -t 6 -c:v libx264 -g 1000 "
                 "-sc_threshold 0 -preset ultrafast -pix_fmt yuv420p -f mpegts");
  EXPECT_LT(brightness(grabbed(folder, film, "2.8")), 10);
  EXPECT_GT(brightness(grabbed(folder, film, "3.4")), 240);
  EXPECT_LT(brightness(grabbed(folder, film, "4.2")), 10);
}

TEST(grab_moment, is_found_where_streams_have_moved_to_other_packet_identifiers) {
  const scratch_folder folder;
  const std::string film =
      joined(folder, "film.ts", {recorded(folder, "1.ts", 100), moved(folder, "2.ts", 103)});
  EXPECT_GT(brightness(grabbed(folder, film, "4.1", "120")), 240);
}

TEST(grab_moment, works_in_a_bare_stream) {
  const scratch_folder folder;
  const std::string film = make_media(
      folder, "film.h264",
      "-f lavfi -i color=black:size=160x90:rate=25 -vf drawbox=t=fill:c=white:enable='gte(t,2)' "
      "-t 4 -c:v libx264 -preset ultrafast -pix_fmt yuv420p -f h264");
  EXPECT_LT(brightness(grabbed(folder, film, "1.5")), 10);
  EXPECT_GT(brightness(grabbed(folder, film, "3")), 240);
}

TEST(grab_picture, is_turned_as_the_file_says) {
  const scratch_folder folder;
  // Turned clockwise, the white left half comes to lie above.
  const std::string picture = grabbed(folder, test_media("rotated.mp4"), "1");
  EXPECT_THAT(grey_points(picture, 1, 2), ElementsAre(Gt(240), Lt(10)));
}

TEST(grab_picture, is_cut_from_the_middle) {
  const scratch_folder folder;
  const std::string film = make_media(folder, "film.mkv",
                                      "-f lavfi -i color=black:size=320x320:rate=25 -t 1 -vf "
                                      "drawbox=y=70:h=180:t=fill:c=white -c:v mpeg4 -q:v 2");
  const std::string picture = folder.file("cut.jpg");
  ASSERT_EQ(run_tool("qxmi_grab", {"--clip-aspect-ratio", "-t", "0", "--height", "320", "-o",
                                   picture, "--file", film})
                .end.status,
            0);
  EXPECT_THAT(grey_points(picture, 1, 4), testing::Each(Gt(230)));
}

TEST(grab_picture, shows_one_moment_of_an_interlaced_film) {
  const scratch_folder folder;
  // A bar that moves by its own width with each field: both fields together are a comb.
  const std::string film = make_media(
      folder, "film.ts",
      "-f lavfi -i nullsrc=size=160x120:rate=50,geq=lum='if(lt(mod(X+20*N,80),40),16,235)':cb=128:"
      "cr=128 -t 2 -vf interlace -flags +ildct+ilme -c:v mpeg2video -q:v 2 -f mpegts");
  const std::string picture = grabbed(folder, film, "1", "120");
  EXPECT_LT(comb(grey_points(picture, 160, 120), 160), 10);
}

TEST(grab_picture, high_dynamic_range_is_not_left_dull) {
  const scratch_folder folder;
  const std::vector<int> points =
      grey_points(grabbed(folder, test_media("hdr.mkv"), "0.5", "72"), 32, 18);
  ASSERT_FALSE(points.empty());
  EXPECT_GT(*std::max_element(points.begin(), points.end()), 180);
  EXPECT_LT(*std::min_element(points.begin(), points.end()), 40);
}
