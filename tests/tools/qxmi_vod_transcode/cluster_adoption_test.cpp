// A tool that is killed and started again finds the tasks of its former run; one that ends leaves
// none.
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/files.h"
#include "tests/support/wait_until.h"
#include "tests/tools/qxmi_vod_transcode/cluster_bench.h"

using namespace qx_test;

namespace {

constexpr std::int64_t frames_of_segment = 50;

class tasks_left_by_a_tool : public cluster_bench {
protected:
  void start_spread() {
    put("begun", task_lines(7, 0, tasks, "R", "n1", "None"));
    start();
    ASSERT_TRUE(wait_for_call("sbatch "));
    ASSERT_TRUE(wait_for_call("squeue --noheader --array --me", 3));
  }
  void kill_tool() {
    signal(SIGKILL);
    EXPECT_EQ(wait(), 128 + SIGKILL);
  }
  // Frames that the tasks make while no tool looks on.
  void make_frames() const {
    const unique_fd work = open_work();
    const task_note made = note();
    for (std::size_t task = 0; task < made.ranges.size(); ++task) {
      ASSERT_TRUE(write_task_progress(work.get(), made, static_cast<std::int64_t>(task),
                                      {frames_of_segment - 1, 1}));
    }
  }
  // What the latest line of progress that shows those frames says after `name`; -1 before it does.
  double shown(const std::string& name) const {
    for (const std::string& line : lines_of(read_file(root.scratch("progress")))) {
      const std::size_t frame = line.find("frame=");
      const std::size_t at = line.find(name);
      const bool shows_them = frame != std::string::npos && at != std::string::npos &&
                              std::atoi(line.c_str() + frame + 6) >= frames_of_segment;
      if (shows_them) { return std::atof(line.c_str() + at + name.size()); }
    }
    return -1.0;
  }
};

}  // namespace

TEST_F(tasks_left_by_a_tool, do_not_count_for_the_speed_of_the_next_one) {
  start_spread();
  kill_tool();
  make_frames();
  start();
  ASSERT_TRUE(wait_until([&] { return shown("fps=") >= 0.0; }));
  EXPECT_EQ(shown("fps="), 0.0);
  EXPECT_EQ(calls_with("sbatch "), 1U);
}

TEST_F(tasks_left_by_a_tool, of_another_version_are_replaced) {
  start_spread();
  kill_tool();
  task_note made = note();
  made.version = "0.0.1";
  ASSERT_TRUE(write_task_note(open_work().get(), made));
  start();
  ASSERT_TRUE(wait_for_call("sbatch ", 2));
  EXPECT_TRUE(wait_until([&] { return note().version != "0.0.1"; }));
}

// The controller may be away just now.
TEST_F(tasks_left_by_a_tool, that_was_terminated_find_neither_lease_nor_note) {
  start_spread();
  const std::string work = work_folder();
  write_file(work + "/v000000.mp4", "a segment, so that the folder stays");
  ASSERT_TRUE(exists(work + "/lease") && exists(work + "/tasks"));
  signal(SIGTERM);
  EXPECT_EQ(wait(), 128 + SIGTERM);
  EXPECT_TRUE(exists(work + "/v000000.mp4"));
  EXPECT_FALSE(exists(work + "/lease"));
  EXPECT_FALSE(exists(work + "/tasks"));
}
