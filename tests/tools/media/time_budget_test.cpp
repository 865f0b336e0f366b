// What an engine may take for its work.
#include <gtest/gtest.h>

#include "tools/media/time_budget.h"

using namespace std::chrono_literals;

TEST(time_budget, of_a_small_file_is_short) {
  EXPECT_LE(probe_budget({}).processor, 15s);
  EXPECT_LE(reading_budget(913).processor, 15s);
}

TEST(time_budget, of_reading_grows_with_the_data) {
  EXPECT_GE(reading_budget(40'000'000'000).passed, 1h);
  EXPECT_GE(reading_budget(40'000'000'000).processor, 1h);
}

TEST(time_budget, of_reading_allows_for_a_slow_share_and_a_busy_machine) {
  EXPECT_GE(reading_budget(50'000'000).passed, 30min);
  EXPECT_GE(reading_budget(5'000'000'000).passed, 1h);
  EXPECT_GE(sound_budget(0, 0).passed, 30min);
}

TEST(time_budget, of_sound_grows_with_its_length) {
  EXPECT_GE(sound_budget(36000, 1).processor, 30min);
  EXPECT_LE(sound_budget(10, 4'000'000'000).processor, 2min);
}

TEST(time_budget, of_sound_without_a_length_grows_with_the_data) {
  EXPECT_GE(sound_budget(0, 144'000'000).processor, 30min);
  EXPECT_EQ(sound_budget(0, 1'000'000'000'000).processor, sound_budget(48 * 3600, 0).processor);
}

TEST(time_budget, of_encoding_grows_with_frames_and_their_size) {
  constexpr double hour = 3600.0;
  const time_budget small = encoding_budget(25.0 * hour, 2.0 * 320 * 180, hour);
  const time_budget large = encoding_budget(25.0 * hour, 2.0 * 3840 * 2160, hour);
  EXPECT_GE(small.processor, 30min);
  EXPECT_GE(large.processor, 40h);
  EXPECT_LE(large.processor, 1000h);
  EXPECT_GE(large.passed, 100h);
}

TEST(time_budget, is_finite_for_any_declared_rate) {
  EXPECT_LE(encoding_budget(1e300, 1e9, 1e300).processor, std::chrono::hours(24 * 500));
  EXPECT_LE(encoding_budget(1e300, 1e9, 1e300).passed, std::chrono::hours(24 * 500));
}

TEST(time_budget, becomes_the_limits_of_a_request) {
  program_request request;
  request.confined_to.emplace();
  set_budget(request, {3s, 2s});
  EXPECT_EQ(request.time_limit, 3s);
  EXPECT_EQ(request.confined_to->processor_time, 2s);
}
