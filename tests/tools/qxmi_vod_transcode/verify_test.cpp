// Faults of a result that its measurements show.
#include <gtest/gtest.h>

#include "tools/qxmi_vod_transcode/verify.h"

namespace {

constexpr double sound_frame = 1024.0 / 48000.0;

// 60 s without a fault.
made_stream good_picture() {
  return {0.0, 60.0, 0.04, 1500};
}

made_stream good_sound() {
  return {-sound_frame, 60.0, sound_frame, 2814};
}

}  // namespace

TEST(verify, a_good_result_has_no_fault) {
  EXPECT_EQ(picture_fault(good_picture(), 60.0, 25.0), "");
  EXPECT_EQ(sound_fault(good_sound(), 60.0), "");
}

TEST(verify, sound_that_ends_early_is_a_fault) {
  made_stream made = good_sound();
  made.end = 40.0;
  made.frames = 1876;
  EXPECT_EQ(sound_fault(made, 60.0),
            "its audio ends after 40.00 s, its declared length is 60.00 s");
}

TEST(verify, video_that_continues_too_long_is_a_fault) {
  made_stream made = good_picture();
  made.end = 80.0;
  made.frames = 2000;
  EXPECT_EQ(picture_fault(made, 60.0, 25.0),
            "its video continues after its declared length: 80.00 instead of 60.00 s");
}

TEST(verify, sound_that_begins_late_is_a_fault) {
  made_stream made = good_sound();
  made.begin = 5.0;
  EXPECT_EQ(sound_fault(made, 60.0), "its audio begins only at 5.00 s");
}

TEST(verify, a_gap_is_a_fault) {
  made_stream sound = good_sound();
  sound.longest_step = 0.5;
  EXPECT_EQ(sound_fault(sound, 60.0), "its audio has a gap of 0.50 s");
  made_stream picture = good_picture();
  picture.longest_step = 0.2;
  EXPECT_EQ(picture_fault(picture, 60.0, 25.0), "its video has a gap of 0.20 s");
}

TEST(verify, frames_that_are_missing_are_a_fault) {
  made_stream made = good_picture();
  made.frames = 1400;
  EXPECT_EQ(picture_fault(made, 60.0, 25.0), "its video has 1400 frames and should have 1500");
}

TEST(verify, an_unknown_length_is_not_compared) {
  EXPECT_EQ(sound_fault(good_sound(), 0.0), "");
}

TEST(verify, a_second_or_a_hundredth_is_tolerated) {
  EXPECT_DOUBLE_EQ(length_tolerance(10.0), 1.0);
  EXPECT_DOUBLE_EQ(length_tolerance(7200.0), 72.0);
}
