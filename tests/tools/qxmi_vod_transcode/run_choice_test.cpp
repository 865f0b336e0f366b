// How many engines work on one output at the same time, what each makes, and what one makes alone.
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

constexpr std::int64_t to_the_end = segment_range::open;
constexpr segment_range nothing{0, 0};

segment_plan film_with_sound() {
  segment_plan plan;
  plan.packets = 936;
  return plan;
}

void expect_run(const segment_run& run, segment_range pictures, segment_range sounds) {
  EXPECT_EQ(run.pictures.first, pictures.first);
  EXPECT_EQ(run.pictures.end, pictures.end);
  EXPECT_EQ(run.sounds.first, sounds.first);
  EXPECT_EQ(run.sounds.end, sounds.end);
  EXPECT_EQ(run.warm_up, 3.0);
}

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
  const segment_plan plan = film_with_sound();
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

TEST(next_run, makes_picture_and_sound_together_to_the_end) {
  expect_run(next_run(film_with_sound(), {{7, to_the_end}}, {{6, to_the_end}}, 3.0),
             {7, to_the_end}, {6, to_the_end});
}

TEST(next_run, fills_gaps_of_the_picture_first) {
  expect_run(next_run(film_with_sound(), {{3, 4}, {10, to_the_end}}, {{10, to_the_end}}, 3.0),
             {3, 4}, nothing);
}

TEST(next_run, fills_gaps_of_the_sound_before_the_end_of_the_picture) {
  expect_run(next_run(film_with_sound(), {{10, to_the_end}}, {{2, 4}, {9, to_the_end}}, 3.0),
             nothing, {2, 4});
}

TEST(next_run, makes_sound_as_a_whole_before_the_end_of_the_picture) {
  segment_plan plan = film_with_sound();
  plan.sound_is_whole = true;
  expect_run(next_run(plan, {{10, to_the_end}}, {{0, to_the_end}}, 3.0), nothing, {0, to_the_end});
  expect_run(next_run(plan, {{10, to_the_end}}, {}, 3.0), {10, to_the_end}, nothing);
}

TEST(next_run, makes_sound_alone_if_all_pictures_are_there) {
  expect_run(next_run(film_with_sound(), {}, {{5, to_the_end}}, 3.0), nothing, {5, to_the_end});
}

TEST(next_run, makes_all_that_is_missing_of_a_silent_film) {
  const segment_run run = next_run(segment_plan(), {{0, to_the_end}}, {}, 3.0);
  EXPECT_EQ(run.pictures.first, 0);
  EXPECT_TRUE(run.pictures.is_open());
  EXPECT_FALSE(run.has_sound(segment_plan()));
}
