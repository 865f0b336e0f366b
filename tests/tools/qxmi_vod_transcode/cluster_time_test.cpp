// How soon the orders to pause, continue and cancel a thousand tasks go out.
#include <chrono>
#include <csignal>

#include <gtest/gtest.h>

#include "tests/support/media/made_media.h"
#include "tests/support/wait_until.h"
#include "tests/tools/qxmi_vod_transcode/cluster_bench.h"

using namespace qx_test;
using namespace std::chrono_literals;

namespace {

using clock_type = std::chrono::steady_clock;

class a_thousand_tasks : public cluster_bench {
protected:
  static constexpr int count = 1000;
  static constexpr std::size_t commands = count / 200;  // that signal them

  a_thousand_tasks() {
    source = make_media(media, "long.mkv",
                        "-f lavfi -i testsrc2=s=128x72:r=5:d=2000 -c:v libx264 -preset ultrafast "
                        "-g 10 -pix_fmt yuv420p");
    put("nodes", "vod vod* n1 idle 0/1000/0/1000\n");
    put("begun", task_lines(7, 0, count, "R", "n1", "None"));
  }

  // All of them at work.
  void start_all() {
    start();
    ASSERT_TRUE(wait_for_call("squeue --noheader --array --me", 3));
    const unique_fd work = open_work();
    const task_note made = note();
    // The last one makes two of the thousand segments.
    ASSERT_EQ(made.ranges.size(), static_cast<std::size_t>(count - 1));
    for (int task = 0; task < count - 1; ++task) {
      ASSERT_TRUE(write_task_progress(work.get(), made, task, {1, 1}));
    }
  }

  void expect_cancelled_within_a_second() {
    const clock_type::time_point begin = clock_type::now();
    signal(SIGTERM);
    EXPECT_EQ(wait(), 128 + SIGTERM);
    EXPECT_LT(clock_type::now() - begin, 1s);
    EXPECT_TRUE(wait_for_call("scancel 7"));
  }

  // From the signal until all commands for the tasks have begun.
  clock_type::duration time_of(int number, const std::string& order, const std::string& words,
                               std::size_t times) {
    const clock_type::time_point begin = clock_type::now();
    signal(number);
    EXPECT_TRUE(wait_for_call(order, times));
    EXPECT_TRUE(wait_for_call(words, times * commands));
    return clock_type::now() - begin;
  }
};

}  // namespace

TEST_F(a_thousand_tasks, wait_and_go_on_within_300_ms) {
  start_all();
  clock_type::duration pause = 1h;
  clock_type::duration resume = 1h;
  for (std::size_t times = 1; times <= 5; ++times) {
    pause = std::min(pause, time_of(SIGUSR1, "scontrol hold 7", "--signal=USR1", times));
    resume = std::min(resume, time_of(SIGUSR2, "scontrol release 7", "--signal=USR2", times));
  }
  EXPECT_LT(pause, 300ms);
  EXPECT_LT(resume, 300ms);
}

TEST_F(a_thousand_tasks, are_cancelled_within_a_second) {
  start_all();
  expect_cancelled_within_a_second();
}

// A controller that is down lets its clients wait for 9 s.
TEST_F(a_thousand_tasks, are_left_within_a_second_where_the_controller_is_silent) {
  let("scancel", "exec sleep 60\n");
  start_all();
  expect_cancelled_within_a_second();
}
