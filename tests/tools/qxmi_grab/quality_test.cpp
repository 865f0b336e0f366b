// The quality people ask for and the engine's scale.
#include <gtest/gtest.h>

#include "tools/qxmi_grab/grab_command.h"

TEST(quantizer_scale, matches_the_usual_encoder) {
  EXPECT_EQ(quantizer_scale(100), 1);
  EXPECT_EQ(quantizer_scale(95), 1);
  EXPECT_EQ(quantizer_scale(90), 3);
  EXPECT_EQ(quantizer_scale(75), 7);
  EXPECT_EQ(quantizer_scale(50), 14);
  EXPECT_EQ(quantizer_scale(22), 31);
  EXPECT_EQ(quantizer_scale(1), 31);
}

TEST(quantizer_scale, is_never_better_for_less_quality) {
  for (int quality = 2; quality <= 100; ++quality) {
    EXPECT_LE(quantizer_scale(quality), quantizer_scale(quality - 1)) << quality;
  }
}
