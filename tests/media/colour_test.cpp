// Colours as a browser shows them.
#include <gtest/gtest.h>

#include "tests/media/colour.h"

namespace {

using namespace qx_test;

// Red of 75 % in the two matrices.
constexpr luma_colour red_709{51, 109, 212};
constexpr luma_colour red_601{65, 100, 212};

TEST(shown_colour, follows_the_matrix_that_the_tag_names) {
  EXPECT_LT(distance(shown_colour(red_709, "bt709", "tv"), bar_colours[5]), 2.0);
  EXPECT_LT(distance(shown_colour(red_601, "smpte170m", "tv"), bar_colours[5]), 2.0);
  EXPECT_LT(distance(shown_colour(red_601, "bt470bg", "tv"), bar_colours[5]), 2.0);
}

TEST(shown_colour, is_wrong_with_the_wrong_matrix) {
  EXPECT_GT(distance(shown_colour(red_601, "bt709", "tv"), bar_colours[5]), 10.0);
}

TEST(shown_colour, follows_the_range) {
  EXPECT_LT(distance(shown_colour({180, 128, 128}, "bt709", "tv"), bar_colours[0]), 1.0);
  EXPECT_LT(distance(shown_colour({191, 128, 128}, "bt709", "pc"), bar_colours[0]), 1.0);
  EXPECT_GT(distance(shown_colour({180, 128, 128}, "bt709", "pc"), bar_colours[0]), 10.0);
}

TEST(same_hue, allows_other_levels) {
  EXPECT_TRUE(same_hue({150, 140, 40}, bar_colours[1]));
}

TEST(same_hue, refuses_another_hue_and_a_washed_out_one) {
  EXPECT_FALSE(same_hue({40, 140, 150}, bar_colours[1]));
  EXPECT_FALSE(same_hue({150, 140, 110}, bar_colours[1]));
}

}  // namespace
