// Estimates of when a job will be done, and when there are none.
#include <cstdlib>
#include <ctime>

#include <gmock/gmock.h>

#include "tools/client/estimate.h"

using ::testing::DoubleEq;
using ::testing::ElementsAre;
using ::testing::Optional;
using phase = job_outlook::phase;

namespace {

job_outlook waiting(double length, double speed) {
  job_outlook job;
  job.now = phase::waiting;
  job.length = length;
  job.speed = speed;
  return job;
}

job_outlook running(double share_done, double rate) {
  job_outlook job;
  job.now = phase::running;
  job.share_done = share_done;
  job.rate = rate;
  return job;
}

struct estimated_moment : ::testing::Test {
  estimated_moment() {
    setenv("TZ", "UTC0", 1);
    tzset();
  }
};

constexpr std::int64_t noon = 1700049600;  // a Wednesday

}  // namespace

TEST(time_left, of_a_running_job_uses_its_own_rate) {
  EXPECT_THAT(time_left({running(0.75, 0.01)}), ElementsAre(Optional(DoubleEq(25.0))));
}

TEST(time_left, of_a_running_job_seen_once_uses_the_speed_of_its_profile) {
  auto job = waiting(100.0, 4.0);
  job.now = phase::running;
  job.share_done = 0.5;
  EXPECT_THAT(time_left({job}), ElementsAre(Optional(DoubleEq(12.5))));
}

TEST(time_left, of_waiting_jobs_adds_up_in_the_order_of_the_queue) {
  EXPECT_THAT(
      time_left({waiting(60.0, 2.0), running(0.5, 0.05), waiting(20.0, 2.0)}),
      ElementsAre(Optional(DoubleEq(40.0)), Optional(DoubleEq(10.0)), Optional(DoubleEq(50.0))));
}

TEST(time_left, is_unknown_after_a_job_of_unknown_length) {
  auto unknown = waiting(60.0, 2.0);
  unknown.length.reset();
  EXPECT_THAT(time_left({unknown, waiting(60.0, 2.0)}), ElementsAre(std::nullopt, std::nullopt));
}

TEST(time_left, is_unknown_after_a_running_job_without_a_rate) {
  job_outlook job;
  job.now = phase::running;
  EXPECT_THAT(time_left({job, waiting(60.0, 2.0)}), ElementsAre(std::nullopt, std::nullopt));
}

TEST(time_left, of_a_paused_job_is_unknown_and_delays_no_other) {
  auto paused = running(0.5, 0.05);
  paused.paused = true;
  EXPECT_THAT(time_left({paused, waiting(60.0, 2.0)}),
              ElementsAre(std::nullopt, Optional(DoubleEq(30.0))));
}

TEST(time_left, of_a_job_that_makes_no_progress_is_unknown) {
  EXPECT_THAT(time_left({running(0.5, 0.0)}), ElementsAre(std::nullopt));
}

TEST(time_left, of_waiting_jobs_is_unknown_while_one_is_at_the_remote_server) {
  job_outlook remote;
  remote.now = job_outlook::phase::at_remote_server;
  EXPECT_THAT(time_left({running(0.5, 0.05), remote, waiting(60.0, 2.0)}),
              ElementsAre(Optional(DoubleEq(10.0)), std::nullopt, std::nullopt));
}

TEST(ready_at, is_a_moment_within_six_days) {
  EXPECT_EQ(ready_at(90.4, 1000), 1090);
  EXPECT_EQ(ready_at(6 * 86400.0, 0), 518400);
  EXPECT_EQ(ready_at(6 * 86400.0 + 1, 0), std::nullopt);
  EXPECT_EQ(ready_at(std::nullopt, 1000), std::nullopt);
}

TEST_F(estimated_moment, within_a_day_is_a_time_of_day) {
  EXPECT_EQ(expected_moment(90 * 60.0, noon), "~13:30");
}

TEST_F(estimated_moment, within_a_week_names_its_day) {
  EXPECT_EQ(expected_moment(26 * 3600.0, noon), "~Thu 14:00");
}

TEST_F(estimated_moment, further_away_or_unknown_is_left_out) {
  EXPECT_EQ(expected_moment(7 * 86400.0, noon), "");
  EXPECT_EQ(expected_moment(std::nullopt, noon), "");
}

TEST(duration_text, shows_hours_only_when_there_are_any) {
  EXPECT_EQ(duration_text(5.4), "0:05");
  EXPECT_EQ(duration_text(3599.0), "59:59");
  EXPECT_EQ(duration_text(3729.0), "1:02:09");
}
