// How many engines work on one output at the same time, and how they divide it.
#include <gtest/gtest.h>

#include "tools/qxmi_vod_transcode/run_choice.h"

namespace {

constexpr std::uint64_t gigabyte = 1000000000;

run_conditions film(int processors, picture_size output) {
  run_conditions conditions;
  conditions.processors = processors;
  conditions.free_memory = 256 * gigabyte;
  conditions.source = {1920, 1080};
  conditions.output = output;
  conditions.missing = 360;  // 2 h
  return conditions;
}

constexpr picture_size small = {640, 360};
constexpr picture_size large = {1920, 1080};

}  // namespace

TEST(runs_at_once, are_two_for_small_pictures_on_two_processors) {
  EXPECT_EQ(runs_at_once(film(2, small)), 2);
}

TEST(runs_at_once, are_one_where_one_engine_uses_nearly_all) {
  EXPECT_EQ(runs_at_once(film(2, large)), 1);
  EXPECT_EQ(runs_at_once(film(1, small)), 1);
}

TEST(runs_at_once, are_more_with_more_processors) {
  EXPECT_GE(runs_at_once(film(8, large)), 3);
  EXPECT_GT(runs_at_once(film(16, large)), runs_at_once(film(8, large)));
  EXPECT_GT(runs_at_once(film(64, large)), runs_at_once(film(16, large)));
  EXPECT_GE(runs_at_once(film(8, small)), runs_at_once(film(8, large)));
}

TEST(runs_at_once, have_twelve_segments_each) {
  run_conditions conditions = film(64, large);
  conditions.missing = 47;
  EXPECT_LE(runs_at_once(conditions), 3);
  conditions.missing = 23;
  EXPECT_EQ(runs_at_once(conditions), 1);
}

TEST(runs_at_once, fit_into_half_of_the_free_memory) {
  run_conditions conditions = film(64, large);
  conditions.free_memory = 8 * gigabyte;
  const int runs = runs_at_once(conditions);
  EXPECT_GT(runs, 1);
  EXPECT_LE(static_cast<std::uint64_t>(runs) *
                memory_of_run(conditions.source, conditions.output, 64 / runs),
            4 * gigabyte);
  conditions.free_memory = 0;
  EXPECT_EQ(runs_at_once(conditions), 1);
}

TEST(divided_work, begins_with_the_sound_and_leaves_nothing_out) {
  const std::deque<segment_run> runs =
      divided({{0, segment_range::open}}, {{0, segment_range::open}}, 100, 2, shortest_run, 3.0);
  segment_plan plan;
  plan.packets = 936;
  EXPECT_FALSE(runs.front().has_pictures());
  EXPECT_TRUE(runs.front().has_sound(plan));
  std::int64_t next = 0;
  for (auto run = runs.begin() + 1; run != runs.end(); ++run) {
    EXPECT_FALSE(run->has_sound(plan));
    EXPECT_EQ(run->pictures.first, next);
    next = run->pictures.end;
  }
  EXPECT_TRUE(runs.back().pictures.is_open());
  // What is only likely to be there is in the open one.
  EXPECT_LE(runs.back().pictures.first, 100 - 12);
}

TEST(divided_work, fills_gaps_exactly) {
  const std::deque<segment_run> runs = divided({{3, 4}, {10, 40}}, {}, 100, 2, shortest_run, 3.0);
  EXPECT_EQ(runs.front().pictures.first, 3);
  EXPECT_EQ(runs.front().pictures.end, 4);
  EXPECT_EQ(runs[1].pictures.first, 10);
  EXPECT_EQ(runs.back().pictures.end, 40);
  for (const segment_run& run : runs) {
    EXPECT_LT(run.pictures.end - run.pictures.first, 24);
  }
}

TEST(divided_work, goes_on_to_an_end_that_is_later_than_expected) {
  const std::deque<segment_run> runs =
      divided({{100, segment_range::open}}, {}, 100, 2, shortest_run, 3.0);
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_EQ(runs.front().pictures.first, 100);
  EXPECT_TRUE(runs.front().pictures.is_open());
}
