// What a node of a cluster does: the tool makes a range of segments in the folder of another one.
#include <csignal>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/unique_fd.h"
#include "tests/support/wait_until.h"
#include "tests/tools/qxmi_vod_transcode/checkpoint_bench.h"
#include "tools/qxmi_vod_transcode/spread/shared_folder.h"

using namespace qx_test;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

// The folder of a tool that has been killed after its first segment.
class range_task : public checkpoint_bench {
protected:
  void SetUp() override {
    interrupt_after(1, SIGKILL);
    work = segment_folder();
    fd.reset(open(work.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    note.token = "a1";
    note.source = source;
    note.profile = "72";
    note.threads = 1;
    note.segment_seconds = 2;
    note.ranges = {{3, 4}, {4, 6}};
    ASSERT_TRUE(write_task_note(fd.get(), note));
    ASSERT_TRUE(renew_lease(fd.get()));
    setenv("SLURMD_NODENAME", "n7", 1);
  }
  ~range_task() override { unsetenv("SLURMD_NODENAME"); }

  tool_result run_task(const std::string& number) const {
    return run_tool("qxmi_vod_transcode", {"--work", work, "--task", number});
  }
  bool has(const std::string& name) const { return fs::exists(work + "/" + name); }
  void age_lease(int seconds) const {
    const timespec times[2] = {{0, UTIME_NOW}, {time(nullptr) - seconds, 0}};
    ASSERT_EQ(utimensat(fd.get(), "lease", times, 0), 0);
  }

  std::string work;
  unique_fd fd;
  task_note note;
};

}  // namespace

TEST_F(range_task, makes_its_range_and_nothing_else) {
  EXPECT_EQ(run_task("0").end.status, 0);
  EXPECT_TRUE(has("v000003.mp4") && has("s000003.adts"));
  EXPECT_FALSE(has("v000002.mp4") || has("v000004.mp4") || has("s000004.adts"));
  EXPECT_TRUE(is_task_done(fd.get(), note, 0));
  EXPECT_FALSE(is_task_done(fd.get(), note, 1));
}

TEST_F(range_task, makes_the_end_of_the_output_if_its_range_is_the_last) {
  EXPECT_EQ(run_task("0").end.status, 0);
  EXPECT_EQ(run_task("1").end.status, 0);
  EXPECT_TRUE(has("v000005.mp4") && has("s000005.adts"));
  expect_whole(resume());
  expect_as_in_one_piece();
}

TEST_F(range_task, makes_only_what_is_missing_of_its_range) {
  ASSERT_EQ(run_task("0").end.status, 0);
  const auto made = fs::last_write_time(work + "/v000003.mp4");
  fs::remove(work + "/s000003.adts");
  ASSERT_EQ(run_task("0").end.status, 0);
  EXPECT_EQ(fs::last_write_time(work + "/v000003.mp4"), made);
  EXPECT_TRUE(has("s000003.adts"));
}

TEST_F(range_task, refuses_another_source) {
  fs::last_write_time(source, fs::file_time_type::clock::now());
  EXPECT_EQ(run_task("0").end.status, 75);
  EXPECT_FALSE(has("v000003.mp4"));
  EXPECT_THAT(read_complaint(fd.get()), HasSubstr(": the source, the transcoder or ffmpeg is"));
  EXPECT_THAT(refusing_nodes(fd.get()), testing::ElementsAre("n7"));
}

TEST_F(range_task, refuses_where_it_does_not_see_the_source) {
  fs::remove(source);
  EXPECT_EQ(run_task("0").end.status, 75);
  EXPECT_THAT(read_complaint(fd.get()), HasSubstr("No such file"));
}

TEST_F(range_task, refuses_a_folder_without_a_note_and_a_range_that_it_does_not_have) {
  EXPECT_EQ(run_task("2").end.status, 75);
  fs::remove(work + "/tasks");
  EXPECT_EQ(run_task("0").end.status, 75);
  work = "/nowhere";
  EXPECT_EQ(run_task("0").end.status, 75);
}

TEST_F(range_task, ends_when_its_tool_has_gone) {
  age_lease(61);
  EXPECT_EQ(run_task("0").end.status, 1);
  EXPECT_FALSE(is_task_done(fd.get(), note, 0));
}

TEST_F(range_task, waits_while_the_tool_is_paused) {
  ASSERT_TRUE(set_paused(fd.get(), true));
  tool_run task("qxmi_vod_transcode", {"--work", work, "--task", "0"});
  const pid_t engine = task.engine();
  ASSERT_TRUE(wait_until([&] { return process_state(engine) == 'T'; }));
  ASSERT_TRUE(set_paused(fd.get(), false));
  EXPECT_EQ(task.wait().status, 0);
  EXPECT_TRUE(has("v000003.mp4"));
}

TEST_F(range_task, leaves_no_folder_of_its_engine) {
  ASSERT_EQ(run_task("0").end.status, 0);
  for (const fs::directory_entry& entry : fs::directory_iterator(work)) {
    const std::string begin = entry.path().filename().string().substr(0, 11);
    EXPECT_TRUE(begin != "run-v000003" && begin != "run-s000003") << entry;
  }
}

TEST_F(range_task, goes_on_while_its_tool_starts_again) {
  ASSERT_TRUE(set_paused(fd.get(), true));
  tool_run task("qxmi_vod_transcode", {"--work", work, "--task", "0"});
  ASSERT_TRUE(wait_until([&] { return process_state(task.engine()) == 'T'; }));
  tool_run other("qxmi_vod_transcode", slowly());
  other.engine();
  ASSERT_TRUE(set_paused(fd.get(), false));
  EXPECT_EQ(task.wait().status, 0);
  other.signal_group(SIGTERM);
  other.wait();
  EXPECT_TRUE(has("v000003.mp4"));
}

TEST(task_options, are_for_nodes_and_not_in_the_help) {
  EXPECT_EQ(run_tool("qxmi_vod_transcode", {"--work", "/x"}).end.status, 2);
  EXPECT_EQ(run_tool("qxmi_vod_transcode", {"--work", "/x", "--task", "-1"}).end.status, 2);
  for (const std::string& line : run_tool("qxmi_vod_transcode", {"--help"}).output) {
    EXPECT_THAT(line, testing::Not(HasSubstr("--work")));
    EXPECT_THAT(line, testing::Not(HasSubstr("--task")));
  }
}
