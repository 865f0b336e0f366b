// A result that is as expected passes; each kind of fault is named.
#include <gmock/gmock.h>

#include "tests/media/verdict.h"

namespace {

using namespace qx_test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int width = 320;
constexpr int height = 240;
constexpr double reference = -23.0;

// The scene in grey shades of its colours, as input for the meter.
struct scene {
  std::vector<std::uint8_t> luma = std::vector<std::uint8_t>(width * height, 100);
  std::vector<std::uint8_t> cb = std::vector<std::uint8_t>(width * height / 4, 128);
  std::vector<std::uint8_t> cr = cb;

  picture_view view() const { return {width, height, luma.data(), cb.data(), cr.data()}; }
};

struct coded {
  std::uint8_t y;
  std::uint8_t cb;
  std::uint8_t cr;
};

// 75 % bars in the matrix of high definition.
constexpr coded bars_709[] = {{180, 128, 128}, {168, 44, 136}, {145, 147, 44}, {133, 63, 52},
                              {63, 193, 204},  {51, 109, 212}, {28, 212, 120}};

void draw_bars(scene& picture) {
  for (int y = height * 3 / 4; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const coded& bar = bars_709[x * bar_count / width];
      const auto at = static_cast<std::size_t>(y / 2 * (width / 2) + x / 2);
      picture.luma[static_cast<std::size_t>(y * width + x)] = bar.y;
      picture.cb[at] = bar.cb;
      picture.cr[at] = bar.cr;
    }
  }
}

scene drawn(std::uint8_t land, int black_columns = 0) {
  scene picture;
  std::fill(picture.luma.begin(), picture.luma.end(), land);
  draw_bars(picture);
  for (int y = 0; y < height; ++y) {
    std::fill_n(picture.luma.begin() + y * width, black_columns, std::uint8_t{16});
  }
  return picture;
}

void woven(scene& picture) {
  for (int y = 0; y < height * 3 / 4; ++y) {
    std::fill_n(picture.luma.begin() + y * width + 150 + y % 2 * 4, 8, std::uint8_t{220});
  }
}

struct faults {
  double sound_late = 0.0;
  int black_columns = 0;
  bool combs = false;
};

measured_result shown(const faults& wrong = {}) {
  measured_result result;
  result.video_codec = "h264";
  result.pixel_format = "yuv420p";
  result.audio_codec = "aac";
  result.channels = 2;
  result.width = width;
  result.height = height;
  result.pixel_shape = "1:1";
  result.rate = "25/1";
  result.matrix = result.primaries = result.transfer = "bt709";
  result.range = "tv";
  result.picture_seconds = result.sound_seconds = 12.0;
  result.longest_gap = 0.04;
  result.packets = 300;
  result.loudness = reference;
  scene dark = drawn(100, wrong.black_columns);
  if (wrong.combs) { woven(dark); }
  const scene bright = drawn(235, wrong.black_columns);
  for (int number = 0; number < 300; ++number) {
    const bool flashes = number % 100 >= 25 && number % 100 < 30;
    result.pictures.add(number / 25.0, flashes ? bright.view() : dark.view());
  }
  for (const double time : {1.0, 5.0, 9.0}) {
    result.beeps.push_back(time + wrong.sound_late);
  }
  return result;
}

std::vector<std::string> judged(const measured_result& result,
                                const expected_result& expected = {}) {
  return deviations(expected, result, reference);
}

TEST(verdict, passes_an_expected_result) {
  EXPECT_THAT(judged(shown()), IsEmpty());
}

TEST(verdict, names_sound_that_is_two_pictures_late) {
  faults wrong;
  wrong.sound_late = 0.08;
  EXPECT_THAT(judged(shown(wrong)), Contains(HasSubstr("80 ms late")));
}

TEST(verdict, names_sound_that_falls_silent) {
  measured_result result = shown();
  result.beeps.resize(1);
  EXPECT_THAT(judged(result), ElementsAre("1 beeps, not 3"));
}

TEST(verdict, names_sound_that_ends_early) {
  measured_result result = shown();
  result.sound_seconds = 9.5;
  EXPECT_THAT(judged(result), ElementsAre("sound's length 9.50, not 12.00"));
}

TEST(verdict, names_a_gap_between_pictures) {
  measured_result result = shown();
  result.longest_gap = 0.08;
  EXPECT_THAT(judged(result), ElementsAre("gap of 0.08 s between pictures"));
}

TEST(verdict, names_pictures_that_cannot_be_decoded) {
  measured_result result = shown();
  result.packets = 301;
  EXPECT_THAT(judged(result), ElementsAre("pictures decoded 300.00, not 301.00"));
}

TEST(verdict, names_another_rate) {
  measured_result result = shown();
  result.rate = "265/12";
  EXPECT_THAT(judged(result), ElementsAre("rate '265/12', not '25/1'"));
}

TEST(verdict, names_missing_tags_of_colour) {
  measured_result result = shown();
  result.matrix.clear();
  EXPECT_THAT(judged(result), ElementsAre("matrix '', not 'bt709'"));
}

TEST(verdict, names_colours_that_the_tags_distort) {
  measured_result result = shown();
  result.matrix = "smpte170m";
  EXPECT_THAT(judged(result), Contains(HasSubstr("colours off by")));
}

TEST(verdict, names_a_picture_that_is_squeezed) {
  faults wrong;
  wrong.black_columns = 80;
  EXPECT_THAT(judged(shown(wrong)), Contains("shape at start 1.00, not 1.33"));
}

TEST(verdict, names_combs) {
  faults wrong;
  wrong.combs = true;
  EXPECT_THAT(judged(shown(wrong)), ElementsAre(HasSubstr("combed pictures")));
}

TEST(verdict, names_another_loudness) {
  measured_result result = shown();
  result.loudness = reference - 7.6;
  EXPECT_THAT(judged(result), ElementsAre("loudness -7.60, not 0.00"));
}

TEST(verdict, names_clipped_peaks) {
  measured_result result = shown();
  result.clipped = 240;
  EXPECT_THAT(judged(result), ElementsAre("240 clipped peaks"));
}

TEST(verdict, names_a_lost_second_track) {
  expected_result expected;
  expected.tracks = tracks_expected::apart;
  EXPECT_THAT(judged(shown(), expected), ElementsAre("second track is not on the right"));
}

TEST(verdict, names_tracks_that_are_mixed) {
  expected_result expected;
  expected.tracks = tracks_expected::apart;
  measured_result result = shown();
  result.left_tone = result.right_tone = 0.05;
  EXPECT_THAT(judged(result, expected), ElementsAre("second track on the left"));
}

TEST(verdict, names_missing_sound) {
  measured_result result = shown();
  result.audio_codec.clear();
  result.sound_seconds = 0.0;
  result.beeps.clear();
  EXPECT_THAT(judged(result), Contains("0 beeps, not 3"));
}

}  // namespace
