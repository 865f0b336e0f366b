// Time for looks at file systems that do not answer: how much there is, for whom, and when again.
#include <gtest/gtest.h>

#include "platform/waiting_allowance.h"

namespace {

constexpr std::uint64_t now = 1000000;

class allowance : public testing::Test {
protected:
  waiting_allowance waits_;
};

}  // namespace

TEST_F(allowance, is_fifty_milliseconds_for_each_look_as_long_as_nothing_is_lost) {
  for (int i = 0; i < 1000; ++i) {
    EXPECT_EQ(waits_.limit(now, false), 50000U);
    EXPECT_EQ(waits_.limit(now, true), 50000U);
  }
}

TEST_F(allowance, is_ninety_milliseconds_for_losses_at_once) {
  waits_.limit(now, false);
  waits_.lose(50000);
  EXPECT_EQ(waits_.limit(now, false), 40000U);
  waits_.lose(40000);
  EXPECT_EQ(waits_.limit(now, false), 0U);
  waits_.lose(1000);
  EXPECT_EQ(waits_.limit(now, false), 0U);
}

TEST_F(allowance, of_late_file_systems_leaves_forty_milliseconds_to_the_others) {
  waits_.limit(now, true);
  waits_.lose(30000);
  EXPECT_EQ(waits_.limit(now, true), 20000U);
  EXPECT_EQ(waits_.limit(now, false), 50000U);
  waits_.lose(30000);
  EXPECT_EQ(waits_.limit(now, true), 0U);
  EXPECT_EQ(waits_.limit(now, false), 30000U);
}

TEST_F(allowance, comes_back_with_half_of_the_time) {
  waits_.limit(now, false);
  waits_.lose(90000);
  EXPECT_EQ(waits_.limit(now + 20000, false), 10000U);
  EXPECT_EQ(waits_.limit(now + 100000, true), 10000U);
  EXPECT_EQ(waits_.limit(now + 1000000, true), 50000U);
  waits_.lose(50000);
  EXPECT_EQ(waits_.limit(now + 1000000, false), 40000U) << "no more than at first";
}

TEST_F(allowance, is_whole_milliseconds) {
  waits_.limit(now, false);
  waits_.lose(50001);
  EXPECT_EQ(waits_.limit(now, false), 39000U);
}
