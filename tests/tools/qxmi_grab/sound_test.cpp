// The picture of a sound: its cover, or its wave form.
#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/made_media.h"
#include "tests/support/media/media_check.h"
#include "tests/support/media/test_media.h"

using namespace qx_test;
using testing::Gt;
using testing::Lt;

namespace {

std::string grabbed(const scratch_folder& folder, const std::string& source,
                    const std::string& moment = "random") {
  std::string picture = folder.file("grabbed.jpg");
  const tool_result result = run_tool("qxmi_grab", {"--clip-aspect-ratio", "-t", moment, "--height",
                                                    "audio", "-o", picture, "--file", source});
  EXPECT_EQ(result.end.status, 0) << (result.errors.empty() ? "" : result.errors[0]);
  return picture;
}

// Overwrites what follows the head of the PNG picture inside the file.
void break_picture_data(const std::string& path) {
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  const std::size_t data = bytes.find("IDAT");
  ASSERT_NE(data, std::string::npos);
  file.clear();
  file.seekp(static_cast<std::streamoff>(data));
  file << std::string(200, 'x');
}

void expect_size(const std::string& picture, int width, int height) {
  const json11::Json stream = stream_of(inspect(picture), "video");
  EXPECT_EQ(stream["width"].int_value(), width);
  EXPECT_EQ(stream["height"].int_value(), height);
}

}  // namespace

TEST(grab_sound, shows_the_cover) {
  const scratch_folder folder;
  const std::string picture = grabbed(folder, test_media("covered.mp3"));
  expect_size(picture, 356, 200);
  // Nowhere as dark as the ground of a drawing, and of several colours.
  EXPECT_GT(brightness(picture), 80);
}

TEST(grab_sound, draws_the_wave_form_of_every_kind) {
  const scratch_folder folder;
  for (const char* name : {"tone.mp3", "tone.wav", "tone.m4a", "tone.aac", "surround.m4a"}) {
    expect_size(grabbed(folder, test_media(name)), 640, 360);
  }
}

TEST(grab_sound, the_time_does_not_matter) {
  const scratch_folder folder;
  expect_size(grabbed(folder, test_media("tone.wav"), "99"), 640, 360);
}

TEST(grab_sound, the_drawing_shows_where_it_is_loud) {
  const scratch_folder folder;
  const std::string sound =
      make_media(folder, "sound.wav",
                 "-f lavfi -i aevalsrc=sin(6283*t)*0.9*gte(t\\,1):sample_rate=48000 -t 2");
  const std::vector<int> points = grey_points(grabbed(folder, sound), 2, 1);
  ASSERT_EQ(points.size(), 2U);
  EXPECT_THAT(points[0], Lt(60));
  EXPECT_THAT(points[1], Gt(points[0] + 60));
}

TEST(grab_sound, a_broken_cover_is_replaced_by_the_drawing) {
  const scratch_folder folder;
  const std::string cover = make_media(
      folder, "cover.png", "-f lavfi -i testsrc2=size=64x64 -frames:v 1 -update 1 -f image2");
  const std::string sound =
      make_media(folder, "sound.mp3",
                 "-f lavfi -i sine=frequency=500 -i " + cover +
                     " -map 0 -map 1 -t 1 -c:v copy -disposition:v attached_pic -id3v2_version 3");
  break_picture_data(sound);
  expect_size(grabbed(folder, sound), 640, 360);
}
