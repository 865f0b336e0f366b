// The filters for pictures, where the media for it would be hard to make.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/media/picture_filters.h"

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

namespace {

video_stream stream_of(int width, int height, const std::string& codec = "h264") {
  video_stream stream;
  stream.codec = codec;
  stream.pixel_format = "yuv420p";
  stream.coded = {width, height};
  stream.displayed = {width, height};
  return stream;
}

}  // namespace

TEST(picture_filters, high_definition_begins_at_720_lines_or_1280_columns) {
  EXPECT_EQ(matrix_for({1280, 720}), colour_matrix::bt709);
  EXPECT_EQ(matrix_for({720, 1280}), colour_matrix::bt709);
  EXPECT_EQ(matrix_for({1280, 534}), colour_matrix::bt709);
  EXPECT_EQ(matrix_for({960, 720}), colour_matrix::bt709);
  EXPECT_EQ(matrix_for({720, 576}), colour_matrix::bt601);
  EXPECT_EQ(matrix_for({1024, 576}), colour_matrix::bt601);
}

TEST(picture_filters, colours_are_assumed_only_if_none_are_declared) {
  video_stream stream = stream_of(1280, 720);
  EXPECT_THAT(assumed_colours(stream), StartsWith("setparams=colorspace=bt709,"));
  stream.matrix = "smpte170m";
  EXPECT_THAT(assumed_colours(stream), IsEmpty());
  stream = stream_of(1280, 720);
  stream.pixel_format = "bgr24";
  EXPECT_THAT(assumed_colours(stream), IsEmpty());
}

TEST(picture_filters, a_layout_unknown_to_the_converter_is_left_unchanged) {
  video_stream stream = stream_of(1280, 720);
  EXPECT_THAT(assumed_colours(stream), HasSubstr(",colorspace="));
  stream.pixel_format = "yuv411p";
  EXPECT_EQ(assumed_colours(stream), "setparams=colorspace=bt709,");
}

TEST(picture_filters, a_codec_that_marks_pictures_is_deinterlaced_where_marked) {
  video_stream stream = stream_of(720, 576, "mpeg2video");
  EXPECT_THAT(deinterlacer(stream), HasSubstr("deint=interlaced"));
  stream.interlaced = true;
  EXPECT_THAT(deinterlacer(stream), HasSubstr("deint=interlaced"));
}

TEST(picture_filters, the_container_gives_the_order_of_fields_that_the_codec_does_not_mark) {
  video_stream stream = stream_of(720, 576, "mjpeg");
  stream.interlaced = true;
  EXPECT_THAT(deinterlacer(stream), HasSubstr("parity=tff:deint=all"));
  stream.bottom_first = true;
  EXPECT_THAT(deinterlacer(stream), HasSubstr("parity=bff:deint=all"));
}

TEST(picture_filters, a_picture_too_small_for_two_fields_has_none) {
  EXPECT_THAT(deinterlacer(stream_of(2, 2)), IsEmpty());
  EXPECT_THAT(deinterlacer(stream_of(4, 4)), Not(IsEmpty()));
}

TEST(picture_filters, a_wide_gamut_is_mapped_like_a_high_dynamic_range) {
  video_stream stream = stream_of(1920, 1080);
  stream.primaries = "bt709";
  EXPECT_FALSE(needs_light_mapped(stream));
  stream.primaries = "smpte432";
  EXPECT_TRUE(needs_light_mapped(stream));
  EXPECT_THAT(uniform_picture(stream, {854, 480}, colour_matrix::bt601, true),
              HasSubstr("pin=smpte432"));
}
