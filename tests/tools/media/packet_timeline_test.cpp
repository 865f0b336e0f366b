// Packets whose clock jumps, on one continuous line.
#include <limits>

#include <gtest/gtest.h>

#include "tools/media/packet_timeline.h"

namespace {

constexpr double unknown = std::numeric_limits<double>::quiet_NaN();
constexpr int picture = 0;
constexpr int sound = 1;

// One packet of each stream every 0.5 s, from `begin` for `seconds`.
void run(packet_timeline& timeline, double begin, double seconds) {
  for (double time = begin; time < begin + seconds; time += 0.5) {
    timeline.add(picture, {time, time, 0.5});
    timeline.add(sound, {time, time, 0.5});
  }
}

double end_of(const packet_timeline& timeline, int stream) {
  double end = -1.0;
  EXPECT_TRUE(timeline.end_of(stream, end));
  return end;
}

}  // namespace

TEST(packet_timeline, an_even_clock_is_taken_as_it_is) {
  packet_timeline timeline(true);
  run(timeline, 100.0, 20.0);
  EXPECT_DOUBLE_EQ(end_of(timeline, sound), 120.0);
  EXPECT_DOUBLE_EQ(timeline.length_of(picture, 0.0), 20.0);
  EXPECT_EQ(timeline.packets(picture), 40);
}

TEST(packet_timeline, jumps_are_closed_up_for_all_streams) {
  for (const double next : {5000.0, 0.0, 105.0}) {
    packet_timeline timeline(true);
    run(timeline, 100.0, 20.0);
    run(timeline, next, 20.0);
    EXPECT_NEAR(end_of(timeline, picture), 140.0, 0.6) << next;
    EXPECT_NEAR(end_of(timeline, sound), 140.0, 0.6) << next;
    EXPECT_EQ(timeline.longest_pause(), 0.0) << next;
  }
}

TEST(packet_timeline, a_pause_of_one_stream_is_not_a_jump) {
  packet_timeline timeline(true);
  run(timeline, 100.0, 20.0);
  for (double time = 120.0; time < 150.0; time += 0.5) {
    timeline.add(picture, {time, time, 0.5});
  }
  run(timeline, 150.0, 5.0);
  EXPECT_DOUBLE_EQ(end_of(timeline, picture), 155.0);
  EXPECT_DOUBLE_EQ(end_of(timeline, sound), 155.0);
  EXPECT_DOUBLE_EQ(timeline.longest_pause(), 30.0);
}

TEST(packet_timeline, steps_of_a_clock_that_cannot_jump_are_kept) {
  packet_timeline timeline(false);
  run(timeline, 0.0, 5.0);
  run(timeline, 65.0, 5.0);
  EXPECT_DOUBLE_EQ(end_of(timeline, picture), 70.0);
  EXPECT_DOUBLE_EQ(timeline.longest_step(picture), 60.5);
}

TEST(packet_timeline, packets_without_a_clock_are_frames) {
  packet_timeline timeline(false);
  for (int n = 0; n < 50; ++n) {
    timeline.add(picture, {unknown, unknown, unknown});
  }
  double end = 0.0;
  EXPECT_FALSE(timeline.end_of(picture, end));
  EXPECT_DOUBLE_EQ(timeline.length_of(picture, 25.0), 2.0);
}

TEST(packet_timeline, finds_the_end_of_streams_that_come_later) {
  packet_timeline timeline(true);
  run(timeline, 100.0, 5.0);
  EXPECT_DOUBLE_EQ(timeline.end_of_later_streams(104.0), 104.0);
  timeline.add(2, {110.0, 110.0, 0.5});
  EXPECT_DOUBLE_EQ(timeline.end_of_later_streams(104.0), 110.5);
}
