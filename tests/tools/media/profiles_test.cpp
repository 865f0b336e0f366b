// Which profiles suit a source, and their sizes and bit rates.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/media/profiles.h"

using testing::ElementsAre;

namespace {

void expect_size(picture_size source, int height, int wanted_width, int wanted_height) {
  const picture_size size = output_size(source, height);
  EXPECT_EQ(size.width, wanted_width);
  EXPECT_EQ(size.height, wanted_height);
}

}  // namespace

TEST(profiles, lists_heights_not_above_the_source) {
  EXPECT_THAT(picture_profiles({1920, 1080}, 0),
              ElementsAre("1080", "720", "576", "480", "360", "240"));
  EXPECT_THAT(picture_profiles({768, 576}, 0), ElementsAre("576", "480", "360", "240"));
}

TEST(profiles, lists_all_for_a_large_source) {
  EXPECT_THAT(picture_profiles({4096, 2304}, 0),
              ElementsAre("2160", "1440", "1080", "720", "576", "480", "360", "240"));
}

TEST(profiles, lists_nothing_above_the_maximum_height) {
  EXPECT_THAT(picture_profiles({1920, 1080}, 720), ElementsAre("720", "576", "480", "360", "240"));
  EXPECT_THAT(picture_profiles({1920, 1080}, 719), ElementsAre("576", "480", "360", "240"));
}

TEST(profiles, a_small_source_has_its_own_height_made_even) {
  EXPECT_THAT(picture_profiles({321, 201}, 0), ElementsAre("200"));
  EXPECT_THAT(picture_profiles({4, 1}, 0), ElementsAre("2"));
}

TEST(profiles, a_maximum_height_below_all_leaves_the_own_height) {
  EXPECT_THAT(picture_profiles({1920, 1080}, 100), ElementsAre("1080"));
}

TEST(profiles, a_name_is_a_height_in_lines) {
  EXPECT_EQ(profile_height("720"), 720);
  EXPECT_EQ(profile_height("200"), 200);
}

TEST(profiles, other_names_are_not_heights) {
  for (const char* name : {"", "0", "1", "-720", "720p", " 720", "audio", "8194", "99999999999"}) {
    EXPECT_EQ(profile_height(name), 0) << name;
  }
}

TEST(output_size, keeps_the_shape) {
  expect_size({1920, 1080}, 720, 1280, 720);
  expect_size({1024, 576}, 480, 854, 480);
  expect_size({1080, 1920}, 1440, 810, 1440);
}

TEST(output_size, is_never_above_the_source) {
  expect_size({640, 360}, 720, 640, 360);
  expect_size({321, 241}, 480, 320, 240);
}

TEST(output_size, is_never_zero) {
  expect_size({1, 1}, 240, 2, 2);
  expect_size({3, 8000}, 240, 2, 240);
}

TEST(peak_bit_rate, grows_with_the_height) {
  EXPECT_EQ(peak_bit_rate(240, 25.0), 500);
  EXPECT_EQ(peak_bit_rate(480, 25.0), 1500);
  EXPECT_EQ(peak_bit_rate(576, 25.0), 2000);
  EXPECT_EQ(peak_bit_rate(720, 25.0), 3000);
  EXPECT_EQ(peak_bit_rate(1080, 25.0), 5000);
  EXPECT_EQ(peak_bit_rate(4320, 25.0), 16000);
}

TEST(peak_bit_rate, a_height_between_two_uses_the_higher_one) {
  EXPECT_EQ(peak_bit_rate(540, 25.0), 2000);
  EXPECT_EQ(peak_bit_rate(600, 25.0), 3000);
  EXPECT_EQ(peak_bit_rate(100, 25.0), 500);
}

TEST(peak_bit_rate, fast_motion_may_take_more) {
  EXPECT_EQ(peak_bit_rate(720, 50.0), 4500);
}

TEST(offers_profile, what_any_listing_of_the_source_has) {
  EXPECT_TRUE(offers_profile({1920, 1080}, "480"));
  EXPECT_TRUE(offers_profile({1920, 1080}, "1080"));
  EXPECT_TRUE(offers_profile({400, 300}, "300"));  // listed when no more than 200 lines are wanted
}

TEST(offers_profile, nothing_else) {
  EXPECT_FALSE(offers_profile({1280, 720}, "1080"));
  EXPECT_FALSE(offers_profile({1920, 1080}, "500"));
  EXPECT_FALSE(offers_profile({1920, 1080}, "audio"));
}
