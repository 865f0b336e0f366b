// When an engine counts as stalled, on a clock of the test's own.
#include <gtest/gtest.h>

#include "tools/media/stall_watch.h"

using namespace std::chrono_literals;

namespace {

struct stalled_engine : testing::Test {
  // Ticks for as long as `time`, four times a second. True if the engine counted as stalled then.
  bool passes(std::chrono::milliseconds time, bool stopped = false,
              std::chrono::milliseconds waited = 0ms) {
    bool stalled = false;
    for (const auto end = now + time; now < end;) {
      now += 250ms;
      sign.processor_wait += waited;
      stalled = watch.stalled(now, sign, stopped) || stalled;
    }
    return stalled;
  }

  stall_watch watch{120s};
  std::chrono::nanoseconds now = 1000h;
  work_sign sign;
};

}  // namespace

TEST_F(stalled_engine, is_one_that_stands_still_for_as_long_as_the_patience) {
  EXPECT_FALSE(passes(120s));
  EXPECT_TRUE(passes(250ms));
}

TEST_F(stalled_engine, is_none_that_makes_a_frame_now_and_then) {
  for (int frame = 0; frame < 10; ++frame) {
    EXPECT_FALSE(passes(119s));
    ++sign.done;
  }
}

TEST_F(stalled_engine, is_none_that_moves_its_output) {
  for (int block = 0; block < 10; ++block) {
    EXPECT_FALSE(passes(119s));
    ++(block % 2 == 0 ? sign.output_time : sign.output_size);
  }
}

TEST_F(stalled_engine, is_none_that_is_stopped) {
  EXPECT_FALSE(passes(100s));
  EXPECT_FALSE(passes(1000s, true));
  EXPECT_FALSE(passes(20s));
  EXPECT_TRUE(passes(250ms));
}

TEST_F(stalled_engine, is_none_if_the_watch_itself_was_stopped) {
  EXPECT_FALSE(passes(100s));
  now += 1000s;
  EXPECT_FALSE(passes(19s));
  EXPECT_TRUE(passes(1s));
}

TEST_F(stalled_engine, is_none_that_waits_for_a_processor) {
  EXPECT_FALSE(passes(100s));
  EXPECT_FALSE(passes(1000s, false, 250ms));
  EXPECT_FALSE(passes(19s));
  EXPECT_TRUE(passes(120s));
}

TEST_F(stalled_engine, is_one_that_waits_for_a_processor_now_and_then) {
  EXPECT_TRUE(passes(240s, false, 100ms));
}

TEST_F(stalled_engine, is_none_without_patience) {
  watch = stall_watch(0s);
  EXPECT_FALSE(passes(1000s));
}
