// Each measurement of sound finds its feature, and nothing in sound without it.
#include <algorithm>
#include <cmath>

#include <gmock/gmock.h>

#include "tests/media/sound_meter.h"

namespace {

using namespace qx_test;
using testing::DoubleNear;
using testing::ElementsAre;

samples silence(double seconds) {
  return samples(static_cast<std::size_t>(seconds * sound_rate), 0.0F);
}

// Adds a tone of that frequency and amplitude between two moments.
void add_tone(samples& sound, double frequency, double amplitude, double from, double to) {
  constexpr double turn = 6.283185307179586;
  const auto end = std::min(sound.size(), static_cast<std::size_t>(to * sound_rate));
  for (auto at = static_cast<std::size_t>(from * sound_rate); at < end; ++at) {
    sound[at] +=
        static_cast<float>(amplitude * std::sin(turn * frequency * double(at) / sound_rate));
  }
}

TEST(beep_times, are_when_the_tone_begins) {
  samples sound = silence(4);
  add_tone(sound, 300, 0.05, 0, 4);
  add_tone(sound, 1000, 0.25, 1.0, 1.2);
  add_tone(sound, 1000, 0.25, 3.0, 3.2);
  EXPECT_THAT(beep_times(sound), ElementsAre(DoubleNear(1.0, 0.006), DoubleNear(3.0, 0.006)));
}

TEST(beep_times, move_with_the_beep) {
  samples sound = silence(4);
  add_tone(sound, 1000, 0.25, 1.05, 1.25);
  EXPECT_THAT(beep_times(sound), ElementsAre(DoubleNear(1.05, 0.006)));
}

TEST(beep_times, are_none_in_silence_and_in_another_tone) {
  samples sound = silence(2);
  EXPECT_TRUE(beep_times(sound).empty());
  add_tone(sound, 2000, 0.3, 0, 2);
  EXPECT_TRUE(beep_times(sound).empty());
}

TEST(usual_tone, is_the_amplitude_of_a_steady_tone) {
  samples sound = silence(2);
  add_tone(sound, 2000, 0.1, 0, 2);
  EXPECT_NEAR(usual_tone(sound, 2000), 0.1, 0.002);
  EXPECT_LT(usual_tone(sound, 3000), 0.002);
}

TEST(usual_tone, ignores_short_sounds) {
  samples sound = silence(2);
  add_tone(sound, 2000, 0.3, 0.5, 0.8);
  EXPECT_LT(usual_tone(sound, 2000), 0.002);
}

TEST(clipped_runs, are_counted_where_the_top_is_flat) {
  samples sound = silence(1);
  add_tone(sound, 1000, 1.5, 0, 0.01);
  for (float& value : sound) {
    value = std::clamp(value, -1.0F, 1.0F);
  }
  EXPECT_NEAR(clipped_runs(sound), 20, 1);
}

TEST(clipped_runs, are_not_found_in_peaks_that_only_touch_the_top) {
  samples sound = silence(1);
  add_tone(sound, 997, 0.998, 0, 1);
  EXPECT_EQ(clipped_runs(sound), 0);
}

}  // namespace
