// How a task on another machine finds out that its tool has gone.
#include <chrono>
#include <ctime>
#include <filesystem>
#include <optional>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "platform/unique_fd.h"
#include "tests/support/media/tool_run.h"
#include "tools/qxmi_vod_transcode/spread/lease_watch.h"
#include "tools/qxmi_vod_transcode/spread/shared_folder.h"

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

struct task_of_a_tool : testing::Test {
  task_of_a_tool() {
    fs::create_directory(folder);
    fd.reset(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    note.token = "a1";
    note.source = "/s";
    note.segment_seconds = 20;
    note.ranges = {{0, 2}};
    EXPECT_TRUE(write_task_note(fd.get(), note) && renew_lease(fd.get()));
    lease.emplace(fd.get(), "a1", begin);
  }
  bool is_valid(std::chrono::seconds after = 0s) { return lease->is_valid(begin + after); }

  qx_test::scratch_folder around;
  const std::string folder = around.file("folder");
  unique_fd fd;
  task_note note;
  const lease_watch::time_point begin{1000s};
  std::optional<lease_watch> lease;
};

}  // namespace

TEST_F(task_of_a_tool, is_wanted_while_the_lease_is_fresh) {
  EXPECT_TRUE(is_valid());
  EXPECT_TRUE(is_valid(1000s));
  EXPECT_FALSE(lease->is_over());
}

TEST_F(task_of_a_tool, is_over_when_the_lease_is_old) {
  const timespec times[2] = {{0, UTIME_NOW}, {time(nullptr) - 70, 0}};
  ASSERT_EQ(utimensat(fd.get(), "lease", times, 0), 0);
  EXPECT_FALSE(is_valid());
  EXPECT_TRUE(lease->is_over());
}

TEST_F(task_of_a_tool, is_over_when_the_work_is_divided_in_another_way) {
  note.token = "b2";
  ASSERT_TRUE(write_task_note(fd.get(), note));
  EXPECT_FALSE(is_valid());
  EXPECT_TRUE(lease->is_over());
}

TEST_F(task_of_a_tool, is_over_when_the_tool_dismisses_it) {
  dismiss_tasks(fd.get());
  EXPECT_FALSE(is_valid());
  EXPECT_TRUE(lease->is_over());
}

TEST_F(task_of_a_tool, is_over_without_a_lease) {
  fs::remove(folder + "/lease");
  EXPECT_FALSE(is_valid());
  EXPECT_TRUE(lease->is_over());
}

TEST_F(task_of_a_tool, is_over_when_the_folder_has_gone) {
  fs::remove_all(folder);
  EXPECT_FALSE(is_valid());
  EXPECT_TRUE(lease->is_over());
}

// A name that cannot be opened shows nothing of the tool.
TEST_F(task_of_a_tool, is_over_after_a_minute_in_which_nothing_could_be_found_out) {
  ASSERT_TRUE(is_valid(5s));
  fs::remove(folder + "/tasks");
  ASSERT_EQ(symlink("/nowhere", (folder + "/tasks").c_str()), 0);
  EXPECT_FALSE(is_valid(15s));
  EXPECT_FALSE(lease->is_over());
  EXPECT_FALSE(is_valid(65s));
  EXPECT_FALSE(lease->is_over());
  EXPECT_FALSE(is_valid(66s));
  EXPECT_TRUE(lease->is_over());
}

TEST_F(task_of_a_tool, goes_on_when_the_folder_can_be_read_again) {
  const std::string hidden = around.file("tasks");
  fs::rename(folder + "/tasks", hidden);
  ASSERT_EQ(symlink("/nowhere", (folder + "/tasks").c_str()), 0);
  EXPECT_FALSE(is_valid(50s));
  fs::rename(hidden, folder + "/tasks");
  EXPECT_TRUE(is_valid(60s));
  EXPECT_FALSE(lease->is_over());
  EXPECT_TRUE(is_valid(120s));
}
