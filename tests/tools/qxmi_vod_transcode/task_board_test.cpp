// Which tasks of a cluster are done, work, or have to be submitted again; and how the segments are
// divided among them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/qxmi_vod_transcode/spread/task_board.h"
#include "tools/qxmi_vod_transcode/spread/task_ranges.h"

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

slurm_task line(std::int64_t task, const std::string& state) {
  slurm_task one;
  one.job = 7;
  one.task = task;
  one.state = state;
  return one;
}

// Three tasks, all submitted at second 0.
struct three_tasks : testing::Test {
  three_tasks() {
    for (std::int64_t task = 0; task < 3; ++task) {
      board.submitted(task, at(0));
    }
  }
  static task_board::time_point at(int second) {
    return task_board::time_point(std::chrono::seconds(second));
  }
  void list(int second, const std::vector<slurm_task>& lines) {
    board.listed(lines, at(second), at(second));
  }
  std::vector<std::int64_t> missing(int second, bool place_is_free = true) {
    return board.to_submit(place_is_free, at(second));
  }
  task_board board{3, at(0)};
};

std::vector<std::int64_t> numbers(std::int64_t first, std::int64_t end) {
  std::vector<std::int64_t> all;
  for (std::int64_t number = first; number < end; ++number) {
    all.push_back(number);
  }
  return all;
}

std::vector<std::int64_t> sizes(const std::vector<task_range>& ranges) {
  std::vector<std::int64_t> all;
  for (const task_range& range : ranges) {
    all.push_back(range.size());
  }
  return all;
}

}  // namespace

TEST_F(three_tasks, are_not_submitted_again_while_they_run_or_wait) {
  list(5, {line(0, "R"), line(1, "PD"), line(2, "PD")});
  EXPECT_THAT(missing(6), IsEmpty());
  EXPECT_EQ(board.running_count(), 1);
}

TEST_F(three_tasks, that_the_cluster_no_longer_knows_are_submitted_again) {
  list(5, {line(0, "R"), line(1, "CG")});
  EXPECT_THAT(missing(6), ElementsAre(2));
}

TEST_F(three_tasks, are_not_missed_in_a_listing_older_than_they_are) {
  board.submitted(2, at(5));
  board.listed({line(0, "R"), line(1, "R")}, at(4), at(6));
  EXPECT_THAT(missing(6), IsEmpty());
}

TEST_F(three_tasks, that_are_done_are_not_submitted_again) {
  board.done(2, at(3));
  list(5, {line(0, "R"), line(1, "R")});
  EXPECT_THAT(missing(6), IsEmpty());
  EXPECT_EQ(board.done_count(), 1);
  EXPECT_FALSE(board.is_settled());
}

TEST_F(three_tasks, are_missed_even_while_others_wait) {
  list(5, {line(1, "PD"), line(2, "PD")});
  EXPECT_THAT(missing(6), ElementsAre(0));
}

TEST_F(three_tasks, in_a_state_that_is_not_known_are_in_the_queue) {
  list(5, {line(0, "S"), line(1, "ST"), line(2, "XY")});
  EXPECT_THAT(missing(6), IsEmpty());
}

TEST_F(three_tasks, that_are_listed_although_they_have_ended_are_missed) {
  list(5, {line(0, "F"), line(1, "R"), line(2, "NF")});
  EXPECT_THAT(missing(6), ElementsAre(0, 2));
}

TEST_F(three_tasks, that_have_been_ending_for_a_minute_are_missed) {
  list(5, {line(0, "R"), line(1, "CG"), line(2, "PD")});
  list(60, {line(0, "R"), line(1, "CG"), line(2, "PD")});
  EXPECT_THAT(missing(60), IsEmpty());
  list(66, {line(0, "R"), line(1, "CG"), line(2, "PD")});
  EXPECT_THAT(missing(66, false), ElementsAre(1));
}

TEST_F(three_tasks, have_one_more_try_for_each_node_that_refuses) {
  board.done(0, at(1));
  board.done(1, at(1));
  board.refused_by(2);
  for (int try_number = 2; try_number <= 5; ++try_number) {
    list(10 * try_number, {});
    EXPECT_THAT(missing(10 * try_number), ElementsAre(2)) << try_number;
    board.submitted(2, at(10 * try_number + 1));
  }
  list(60, {});
  EXPECT_THAT(missing(61), IsEmpty());
  EXPECT_TRUE(board.is_settled());
}

TEST_F(three_tasks, that_stand_still_for_a_minute_are_submitted_a_second_time) {
  for (int second = 1; second <= 70; ++second) {
    board.made(0, second, at(second));
    board.made(2, second, at(second));
    if (second % 5 == 0) { list(second, {line(0, "R"), line(1, "R"), line(2, "R")}); }
    EXPECT_EQ(missing(second).empty(), second < 65) << second;
  }
  EXPECT_THAT(missing(70), ElementsAre(1));
  EXPECT_THAT(missing(70, false), IsEmpty());
  board.submitted(1, at(70));
  EXPECT_THAT(missing(71), IsEmpty());
}

TEST_F(three_tasks, that_wait_do_not_stand_still) {
  list(50, {line(0, "PD"), line(1, "PD"), line(2, "PD")});
  list(120, {line(0, "R"), line(1, "R"), line(2, "R")});
  EXPECT_THAT(missing(121), IsEmpty());
}

TEST_F(three_tasks, that_are_suspended_do_not_stand_still) {
  list(5, {line(0, "R"), line(1, "R"), line(2, "R")});
  board.suspended(at(100));
  EXPECT_THAT(missing(101), IsEmpty());
  EXPECT_EQ(board.idle(at(101)), 1s);
}

TEST_F(three_tasks, that_failed_three_times_are_left) {
  board.done(0, at(1));
  board.done(1, at(1));
  for (int try_number = 2; try_number <= 3; ++try_number) {
    list(10 * try_number, {});
    EXPECT_THAT(missing(10 * try_number), ElementsAre(2));
    EXPECT_FALSE(board.is_settled());
    board.submitted(2, at(10 * try_number + 1));
  }
  list(40, {});
  EXPECT_THAT(missing(41), IsEmpty());
  EXPECT_TRUE(board.is_settled());
  EXPECT_EQ(board.failed(), 1);
}

TEST_F(three_tasks, that_are_all_done_are_settled) {
  for (std::int64_t task = 0; task < 3; ++task) {
    board.done(task, at(1));
  }
  EXPECT_TRUE(board.is_settled());
  EXPECT_EQ(board.failed(), 0);
}

TEST_F(three_tasks, are_idle_since_their_last_sign_of_work) {
  board.made(0, 25, at(20));
  board.made(0, 25, at(30));
  EXPECT_EQ(board.idle(at(50)), 30s);
  board.done(1, at(60));
  EXPECT_EQ(board.idle(at(61)), 1s);
}

// They read a source for a long time before their first picture.
TEST_F(three_tasks, that_show_work_do_not_stand_still) {
  for (int second = 5; second <= 120; second += 5) {
    list(second, {line(0, "R"), line(1, "R"), line(2, "R")});
    for (std::int64_t task = 0; task < 3; ++task) {
      board.worked(task, second, at(second));
    }
  }
  EXPECT_THAT(missing(121), IsEmpty());
  EXPECT_EQ(board.idle(at(121)), 1s);
  board.worked(0, 120, at(130));
  EXPECT_EQ(board.idle(at(130)), 10s);
}

TEST_F(three_tasks, ignore_numbers_that_are_not_theirs) {
  board.done(3, at(1));
  board.made(-1, 5, at(1));
  list(2, {line(9, "R")});
  EXPECT_EQ(board.done_count(), 0);
  EXPECT_EQ(board.running_count(), 0);
}

TEST(ranges, give_each_place_three_tasks) {
  EXPECT_THAT(sizes(divide_into_tasks(numbers(0, 60), 10)),
              testing::AllOf(SizeIs(30), testing::Each(2)));
  EXPECT_THAT(divide_into_tasks(numbers(0, 7), 4), SizeIs(7));
}

// With six segments each, seven tasks would take as long as eight such.
TEST(ranges, leave_no_place_idle_while_the_last_ones_are_made) {
  EXPECT_THAT(sizes(divide_into_tasks(numbers(0, 38), 2)), ElementsAre(5, 5, 5, 5, 5, 5, 5, 3));
}

TEST(ranges, are_at_most_six_segments_long) {
  EXPECT_THAT(sizes(divide_into_tasks(numbers(0, 102), 1)),
              testing::AllOf(SizeIs(17), testing::Each(6)));
}

TEST(ranges, have_no_gaps) {
  const auto ranges = divide_into_tasks({3, 4, 7, 8, 9}, 0);
  EXPECT_THAT(sizes(ranges), ElementsAre(1, 1, 1, 1, 1));
  const auto longer = divide_into_tasks({0, 1, 2, 3, 4, 5, 9, 10, 11, 12, 13, 14}, 1);
  EXPECT_THAT(sizes(longer), ElementsAre(4, 2, 4, 2));
  EXPECT_EQ(longer[2].first, 9);
}

TEST(ranges, are_longer_where_there_would_be_too_many) {
  const auto ranges = divide_into_tasks(numbers(0, 12000), 10000);
  EXPECT_LE(ranges.size(), 1000U);
  EXPECT_EQ(ranges.back().end, 12000);
}

TEST(ranges, are_not_more_than_the_cluster_takes) {
  std::vector<std::int64_t> every_second;
  for (std::int64_t number = 0; number < 2400; number += 2) {
    every_second.push_back(number);
  }
  const auto ranges = divide_into_tasks(every_second, 10);
  EXPECT_THAT(ranges, SizeIs(1000));
  EXPECT_EQ(ranges.back().first, 1998);
}

// The end of the output may come a little before the estimated one.
TEST(ranges, that_go_on_to_an_estimated_end_have_two_segments_or_more) {
  EXPECT_THAT(sizes(divide_into_tasks(numbers(0, 7), 4, true)), ElementsAre(1, 1, 1, 1, 1, 2));
  EXPECT_THAT(sizes(divide_into_tasks(numbers(0, 15), 2, true)), ElementsAre(2, 2, 2, 2, 2, 2, 3));
  EXPECT_THAT(sizes(divide_into_tasks({0, 1, 5}, 4, true)), ElementsAre(1, 1, 1));
  EXPECT_THAT(sizes(divide_into_tasks({5}, 4, true)), ElementsAre(1));
}

TEST(ranges, of_nothing_are_none) {
  EXPECT_THAT(divide_into_tasks({}, 3), IsEmpty());
}
