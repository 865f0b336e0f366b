// Colours and shape of a thumbnail.
#include <cstdlib>

#include <gtest/gtest.h>

#include "tests/support/media/made_media.h"
#include "tests/support/media/media_check.h"

using namespace qx_test;

namespace {

// Grabs the moment, 240 lines high, and returns the picture's path.
std::string grabbed(const scratch_folder& folder, const std::string& source,
                    const std::string& moment) {
  std::string picture = folder.file("grabbed.jpg");
  const tool_result result =
      run_tool("qxmi_grab", {"--jpeg-quality", "75", "-t", moment, "--height", "240", "-o", picture,
                             "--file", source});
  EXPECT_EQ(result.end.status, 0) << (result.errors.empty() ? source : result.errors[0]);
  return picture;
}

}  // namespace

TEST(grab_colours, of_high_definition_without_tags_are_right) {
  const scratch_folder folder;
  const std::string film =
      make_media(folder, "film.mp4",
                 colour_bars("1280x720") + "-t 0.2 -vf scale=out_color_matrix=bt709:out_range=tv "
                                           "-c:v libx264 -crf 5 -pix_fmt yuv420p");
  EXPECT_LE(bars_error(grabbed(folder, film, "0")), 2);
}

TEST(grab_colours, of_rgb_are_right) {
  const scratch_folder folder;
  const std::string film =
      make_media(folder, "film.mov", colour_bars("1280x720") + "-t 0.2 -c:v png -pix_fmt rgb24");
  EXPECT_LE(bars_error(grabbed(folder, film, "0")), 2);
}

TEST(grab_shape, is_kept_with_bars_where_the_film_changes_its_own) {
  const scratch_folder folder;
  const auto part = [&](const std::string& size, const std::string& start) {
    return make_media(folder, "part" + start + ".ts",
                      "-f lavfi -i color=white:size=" + size + ":rate=25 -t 2 -output_ts_offset " +
                          start + " -c:v libx264 -preset ultrafast -pix_fmt yuv420p -f mpegts");
  };
  const std::string film =
      join_media(folder, "film.ts", {part("320x240", "10"), part("640x360", "12")});
  const std::vector<int> points = grey_points(grabbed(folder, film, "3"), 8, 12);
  ASSERT_EQ(points.size(), 96U);
  EXPECT_LT(points[4], 40);
  EXPECT_GT(points[52], 200);
}

TEST(grab_fields, in_the_middle_of_a_progressive_recording_leave_no_comb) {
  const scratch_folder folder;
  const std::string calm = make_media(folder, "calm.ts",
                                      "-f lavfi -i color=gray:size=320x240:rate=25 -t 12 "
                                      "-c:v mpeg2video -q:v 3 -f mpegts");
  const std::string moving = make_media(
      folder, "moving.ts",
      "-f lavfi -i color=gray:size=320x240:rate=50,drawbox=w=40:h=240:c=white:t=fill,"
      "scroll=h=0.02,tinterlace=interleave_top -t 2 -output_ts_offset 12 -flags +ildct+ilme -top 1 "
      "-c:v mpeg2video -q:v 3 -f mpegts");
  const std::string whole = join_media(folder, "whole.ts", {calm, moving});
  const std::vector<int> points = grey_points(grabbed(folder, whole, "13"), 320, 240);
  ASSERT_EQ(points.size(), 320U * 240U);
  int steps = 0;
  for (std::size_t at = 100 * 320; at < 120 * 320; ++at) {
    if (std::abs(points[at] - points[at + 320]) > 40) { ++steps; }
  }
  EXPECT_LT(steps, 40);
}
