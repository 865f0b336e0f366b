// The size of a thumbnail and how the source is cropped for it.
#include <gtest/gtest.h>

#include "tools/qxmi_grab/picture_shape.h"

namespace {

video_stream film(int width, int height) {
  video_stream stream;
  stream.coded = {width, height};
  stream.displayed = {width, height};
  return stream;
}

void expect_size(picture_size size, int width, int height) {
  EXPECT_EQ(size.width, width);
  EXPECT_EQ(size.height, height);
}

}  // namespace

TEST(height_text, is_a_number_or_360) {
  EXPECT_EQ(height_from_text("720"), 720);
  EXPECT_EQ(height_from_text("audio"), 360);
  EXPECT_EQ(height_from_text("720p"), 360);
  EXPECT_EQ(height_from_text(""), 360);
  EXPECT_EQ(height_from_text("0"), 360);
  EXPECT_EQ(height_from_text("-720"), 360);
  EXPECT_EQ(height_from_text("99999999999999999999"), 360);
}

TEST(picture_shape, takes_all_of_a_wide_screen_film) {
  const picture_shape shape = shape_of(film(1920, 1080), 720, true);
  expect_size(shape.whole, 1280, 720);
  expect_size(shape.taken, 1280, 720);
  expect_size(shape.made, 1280, 720);
}

TEST(picture_shape, is_never_higher_than_the_film) {
  expect_size(shape_of(film(640, 360), 1080, true).made, 640, 360);
}

TEST(picture_shape, widths_are_even) {
  expect_size(shape_of(film(1920, 1080), 480, true).made, 854, 480);
  expect_size(shape_of(film(1920, 1080), 240, true).made, 426, 240);
}

TEST(picture_shape, cuts_top_and_bottom_of_a_narrow_film) {
  const picture_shape shape = shape_of(film(640, 480), 480, true);
  expect_size(shape.taken, 640, 360);
  expect_size(shape.made, 854, 480);
}

TEST(picture_shape, cuts_the_sides_of_a_cinema_film) {
  const picture_shape shape = shape_of(film(1920, 800), 720, true);
  expect_size(shape.whole, 1728, 720);
  expect_size(shape.taken, 1280, 720);
  expect_size(shape.made, 1280, 720);
}

TEST(picture_shape, keeps_the_shape_when_nothing_is_to_be_cut) {
  const picture_shape shape = shape_of(film(640, 480), 240, false);
  expect_size(shape.taken, 320, 240);
  expect_size(shape.made, 320, 240);
}

TEST(picture_shape, cuts_pixels_that_are_not_square_by_what_they_show) {
  video_stream stream = film(720, 576);
  stream.displayed.width = 768;
  const picture_shape shape = shape_of(stream, 576, true);
  expect_size(shape.whole, 768, 576);
  expect_size(shape.taken, 768, 432);
  expect_size(shape.made, 1024, 576);
}

TEST(picture_shape, cuts_a_turned_film_after_turning) {
  video_stream stream = film(1920, 1080);
  stream.displayed = {1080, 1920};
  stream.rotation = 90;
  const picture_shape shape = shape_of(stream, 720, true);
  expect_size(shape.taken, 1080, 608);
  expect_size(shape.made, 1280, 720);
}

TEST(picture_shape, holds_at_least_one_pixel) {
  const picture_shape thin = shape_of(film(32768, 1), 720, true);
  EXPECT_GE(thin.taken.width, 2);
  expect_size(thin.made, 2, 1);
  EXPECT_GE(shape_of(film(1, 32768), 720, true).taken.height, 2);
}

TEST(picture_shape, is_no_wider_than_a_picture_may_be) {
  const picture_size made = shape_of(film(32768, 64), 64, false).made;
  expect_size(made, 16384, 32);
}

TEST(drawing, is_wide_screen_and_not_beyond_measure) {
  expect_size(drawing_size(360), 640, 360);
  expect_size(drawing_size(100000), 3840, 2160);
}
