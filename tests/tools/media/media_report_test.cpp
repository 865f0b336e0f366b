// The probe's report, as files that are hard to make would give it.
#include <gtest/gtest.h>

#include "tools/media/media_report.h"

namespace {

media_info read(const std::string& streams, const std::string& format = "",
                const std::string& programs = "") {
  media_info info;
  EXPECT_TRUE(read_media_report("{\"programs\":[" + programs + "],\"streams\":[" + streams +
                                    "],\"format\":{" + format + "}}",
                                info));
  return info;
}

// A decodable picture with `more` entries, which win over the usual ones.
video_stream picture(const std::string& more) {
  const media_info info = read("{" + more +
                               ",\"index\":0,\"codec_type\":\"video\",\"codec_name\":\"h264\","
                               "\"pix_fmt\":\"yuv420p\",\"width\":720,\"height\":576}");
  EXPECT_EQ(info.video.size(), 1U);
  return info.video.empty() ? video_stream() : info.video[0];
}

rational rate(const std::string& nominal, const std::string& average) {
  return picture("\"r_frame_rate\":\"" + nominal + "\",\"avg_frame_rate\":\"" + average + "\"")
      .frame_rate;
}

void expect_ratio(rational value, std::int64_t num, std::int64_t den) {
  EXPECT_EQ(value.num, num);
  EXPECT_EQ(value.den, den);
}

}  // namespace

TEST(media_report, refuses_anything_but_a_report) {
  media_info info;
  EXPECT_FALSE(read_media_report("", info));
  EXPECT_FALSE(read_media_report("{\"streams\":[", info));
  EXPECT_FALSE(read_media_report("[]", info));
}

TEST(media_report, a_picture_without_a_decoder_does_not_count) {
  EXPECT_TRUE(read("{\"codec_type\":\"video\",\"width\":720,\"height\":576}").video.empty());
}

TEST(media_report, a_picture_without_a_size_does_not_count) {
  EXPECT_TRUE(read("{\"codec_type\":\"video\",\"pix_fmt\":\"yuv420p\",\"width\":0,\"height\":0}")
                  .video.empty());
}

TEST(media_report, sound_without_a_decoder_does_not_count) {
  EXPECT_TRUE(
      read("{\"codec_type\":\"audio\",\"channels\":2,\"sample_rate\":\"48000\"}").audio.empty());
}

TEST(media_report, a_stream_without_any_information_is_unclear) {
  const media_info info = read("{\"index\":3,\"codec_type\":\"audio\",\"codec_name\":\"mp2\","
                               "\"channels\":0}");
  ASSERT_EQ(info.unclear.size(), 1U);
  EXPECT_EQ(info.unclear[0].index, 3);
  ASSERT_NE(info.wanted(), nullptr);
  EXPECT_TRUE(info.wanted()->sound);
}

TEST(media_report, other_streams_do_not_count) {
  const media_info info = read("{\"codec_type\":\"subtitle\"},{\"codec_type\":\"data\"},{},7");
  EXPECT_TRUE(info.video.empty() && info.audio.empty());
}

TEST(media_report, nominal_rate_is_taken_when_the_average_agrees) {
  expect_ratio(rate("30/1", "299/10"), 30, 1);
  expect_ratio(rate("24000/1001", "2157/90"), 24000, 1001);
}

TEST(media_report, a_rate_of_fields_is_halved) {
  expect_ratio(rate("50/1", "25/1"), 50, 2);
}

TEST(media_report, an_absurd_nominal_rate_is_replaced_by_the_average) {
  expect_ratio(rate("90000/1", "25/1"), 25, 1);
  expect_ratio(rate("0/0", "25/1"), 25, 1);
}

TEST(media_report, dropped_frames_do_not_change_a_usual_rate) {
  expect_ratio(rate("30/1", "22433/1000"), 30, 1);
  expect_ratio(rate("30000/1001", "19/1"), 30000, 1001);
  expect_ratio(rate("600/1", "22/1"), 22, 1);
}

TEST(media_report, a_missing_average_leaves_the_nominal_rate) {
  expect_ratio(rate("25/1", "0/0"), 25, 1);
}

TEST(media_report, a_rate_that_is_not_a_number_is_unknown) {
  EXPECT_FALSE(rate("fast", "-1/0").known());
}

TEST(media_report, pixels_with_an_absurd_shape_are_taken_as_square) {
  EXPECT_EQ(picture("\"sample_aspect_ratio\":\"1000:1\"").displayed.width, 720);
  EXPECT_EQ(picture("\"sample_aspect_ratio\":\"0:1\"").displayed.width, 720);
  EXPECT_EQ(picture("\"sample_aspect_ratio\":\"N/A\"").displayed.width, 720);
}

TEST(media_report, rotation_is_clockwise_in_quarters) {
  EXPECT_EQ(picture("\"side_data_list\":[{\"rotation\":-90}]").rotation, 90);
  EXPECT_EQ(picture("\"side_data_list\":[{},{\"rotation\":90}]").rotation, 270);
  EXPECT_EQ(picture("\"side_data_list\":[{\"rotation\":-180}]").rotation, 180);
  EXPECT_EQ(picture("\"tags\":{\"rotate\":\"90\"}").rotation, 90);
  EXPECT_EQ(picture("\"tags\":{\"rotate\":\"1e300\"}").rotation, 0);
}

TEST(media_report, rotation_counts_pixels_before_it_turns) {
  const video_stream turned =
      picture("\"sample_aspect_ratio\":\"16:15\",\"side_data_list\":[{\"rotation\":-90}]");
  EXPECT_EQ(turned.displayed.width, 576);
  EXPECT_EQ(turned.displayed.height, 768);
}

TEST(media_report, any_order_of_fields_is_interlaced) {
  for (const char* order : {"tt", "bb", "tb", "bt"}) {
    EXPECT_TRUE(picture("\"field_order\":\"" + std::string(order) + "\"").interlaced) << order;
  }
  EXPECT_FALSE(picture("\"field_order\":\"progressive\"").interlaced);
  EXPECT_FALSE(picture("\"field_order\":\"unknown\"").interlaced);
}

TEST(media_report, an_absurd_length_is_ignored) {
  for (const char* text : {"-5", "nan", "inf", "1e12", "N/A", "0.000"}) {
    const media_info info = read("", "\"duration\":\"" + std::string(text) + "\"");
    EXPECT_EQ(info.duration, 0.0) << text;
    EXPECT_TRUE(info.duration_estimated) << text;
  }
}

TEST(media_report, a_stream_may_belong_to_several_programs) {
  const media_info info = read("{\"index\":5,\"codec_type\":\"audio\",\"sample_fmt\":\"fltp\","
                               "\"channels\":2,\"sample_rate\":\"48000\"}",
                               "",
                               "{\"program_id\":1,\"streams\":[{\"index\":5}]},"
                               "{\"program_id\":7,\"streams\":[{\"index\":4},{\"index\":5}]}");
  ASSERT_EQ(info.audio.size(), 1U);
  EXPECT_EQ(info.audio[0].programs, (std::vector<int>{1, 7}));
}
