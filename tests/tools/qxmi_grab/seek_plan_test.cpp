// Which moments are tried and how they are reached.
#include <algorithm>

#include <gtest/gtest.h>

#include "tools/qxmi_grab/seek_plan.h"

namespace {

media_info media_in(const std::string& container) {
  media_info media;
  media.container = container;
  return media;
}

void expect_plan(const std::string& container, double moment, double enter, double run_up) {
  const seek_plan plan = plan_seek(media_in(container), moment);
  EXPECT_DOUBLE_EQ(plan.enter, enter) << container;
  EXPECT_DOUBLE_EQ(plan.run_up, run_up) << container;
}

}  // namespace

TEST(seek_plan, enters_an_indexed_file_at_the_moment) {
  expect_plan("mov,mp4,m4a,3gp,3g2,mj2", 60.0, 60.0, 0.0);
}

TEST(seek_plan, enters_a_broadcast_stream_earlier) {
  expect_plan("mpegts", 60.0, 50.0, 10.0);
  expect_plan("mpegts", 4.0, 0.0, 4.0);
}

TEST(seek_plan, reads_a_bare_stream_from_its_beginning) {
  expect_plan("h264", 60.0, 0.0, 60.0);
}

TEST(time_window, leaves_out_beginning_and_end) {
  const time_window window = moments_of(media_in("mpegts"), video_stream(), 100.0);
  EXPECT_DOUBLE_EQ(window.begin, 10.0);
  EXPECT_DOUBLE_EQ(window.end, 90.0);
}

TEST(time_window, is_that_of_the_picture_and_not_of_the_file) {
  media_info media = media_in("mpegts");
  media.start = 1000.0;
  video_stream picture;
  picture.start = 1020.0;
  picture.duration = 50.0;
  const time_window window = moments_of(media, picture, 100.0);
  EXPECT_DOUBLE_EQ(window.begin, 25.0);
  EXPECT_DOUBLE_EQ(window.end, 65.0);
}

TEST(time_window, does_not_believe_a_picture_that_begins_after_its_end) {
  video_stream picture;
  picture.start = 95000.0;
  EXPECT_DOUBLE_EQ(moments_of(media_in("mpegts"), picture, 10.0).begin, 1.0);
}

TEST(scattered_moments, lie_one_in_each_part) {
  std::mt19937 random(1);
  std::vector<double> moments = scattered_moments({10.0, 90.0}, 8, random);
  std::sort(moments.begin(), moments.end());
  ASSERT_EQ(moments.size(), 8U);
  for (std::size_t n = 0; n < moments.size(); ++n) {
    EXPECT_GE(moments[n], 10.0 + 10.0 * static_cast<double>(n));
    EXPECT_LE(moments[n], 20.0 + 10.0 * static_cast<double>(n));
  }
}

TEST(scattered_moments, differ_from_time_to_time) {
  std::mt19937 random(1);
  const std::vector<double> first = scattered_moments({0.0, 100.0}, 8, random);
  EXPECT_NE(first, scattered_moments({0.0, 100.0}, 8, random));
}
