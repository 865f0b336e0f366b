// The processor cap, driven by a simulated encoder.
#include <gtest/gtest.h>

#include "tools/qxmi_vod_transcode/cpu_cap.h"

using namespace std::chrono_literals;

namespace {

// An encoder that always wants `processors` whole processors. Ticks come every 50 ms; in between it
// runs or is stopped, as the cap decided last.
struct simulation {
  cpu_cap cap;
  int processors;
  std::chrono::nanoseconds now{0};
  std::chrono::nanoseconds used{0};

  void run(std::chrono::nanoseconds length) {
    const std::chrono::nanoseconds end = now + length;
    while (now < end) {
      const bool stopped = cap.must_stop(now, used, false);
      now += 50ms;
      if (!stopped) { used += 50ms * processors; }
    }
  }

  double percent() const {
    return 100.0 * static_cast<double>(used.count()) /
           static_cast<double>(now.count() * processors);
  }
};

}  // namespace

TEST(cpu_cap, keeps_a_greedy_encoder_to_its_share) {
  for (const int percent : {1, 10, 35, 70, 99}) {
    simulation encoder = {cpu_cap(percent, 8), 8};
    encoder.run(10s);
    EXPECT_NEAR(encoder.percent(), percent, 2.0);
  }
}

TEST(cpu_cap, zero_never_stops) {
  simulation encoder = {cpu_cap(0, 4), 4};
  encoder.run(10s);
  EXPECT_DOUBLE_EQ(encoder.percent(), 100.0);
}

TEST(cpu_cap, idle_time_is_not_saved_up) {
  simulation encoder = {cpu_cap(50, 2), 2};
  encoder.cap.must_stop(0s, 0s, false);
  encoder.now = 60s;  // a minute of waiting for the disk
  encoder.cap.must_stop(encoder.now, 0s, false);
  encoder.run(2s);
  EXPECT_LT(encoder.used, 2s * 2 * 0.65);
}

TEST(cpu_cap, suspended_time_is_not_counted) {
  cpu_cap cap(50, 2);
  cap.must_stop(0s, 0s, false);
  EXPECT_TRUE(cap.must_stop(1s, 3s, false));
  EXPECT_TRUE(cap.must_stop(100s, 3s, true));
  EXPECT_TRUE(cap.must_stop(101s, 3s, false));
  EXPECT_FALSE(cap.must_stop(103s, 3s, false));
}

TEST(cpu_cap, has_threads_for_its_share_only) {
  EXPECT_EQ(cpu_cap(70, 8).useful_threads(), 6);
  EXPECT_EQ(cpu_cap(50, 8).useful_threads(), 4);
  EXPECT_EQ(cpu_cap(1, 2).useful_threads(), 1);
  EXPECT_EQ(cpu_cap(0, 8).useful_threads(), 8);
}

TEST(shared_cap, counts_the_time_of_all_encoders) {
  shared_cap cap(cpu_cap(50, 2));  // one processor
  const int one = cap.new_encoder();
  const int other = cap.new_encoder();
  EXPECT_FALSE(cap.must_stop(one, 0ms, 0ms, false));
  EXPECT_FALSE(cap.must_stop(other, 0ms, 0ms, false));
  EXPECT_FALSE(cap.must_stop(one, 100ms, 90ms, false));
  EXPECT_TRUE(cap.must_stop(other, 100ms, 90ms, false));
  EXPECT_TRUE(cap.must_stop(one, 110ms, 90ms, false));
}

TEST(shared_cap, goes_on_with_the_next_encoder) {
  shared_cap cap(cpu_cap(50, 2));
  const int first = cap.new_encoder();
  EXPECT_FALSE(cap.must_stop(first, 0ms, 0ms, false));
  EXPECT_TRUE(cap.must_stop(first, 100ms, 300ms, false));
  EXPECT_TRUE(cap.must_stop(cap.new_encoder(), 100ms, 0ms, false));
  EXPECT_FALSE(cap.must_stop(first, 400ms, 300ms, false));
}
