// The folder beside the output in which finished segments wait for the next run of the tool.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/skip.h"
#include "tests/support/wait_until.h"
#include "tests/tools/qxmi_vod_transcode/checkpoint_bench.h"
#include "tools/media/segment_folder.h"

using namespace qx_test;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

namespace fs = std::filesystem;

class checkpoint_folder : public checkpoint_bench {
protected:
  // Leaves another folder of that kind, whose source has changed.
  std::string leave_abandoned() const {
    const std::string path = folder.file(".qx-segments-0123456789abcdef");
    fs::create_directory(path);
    fs::permissions(path, fs::perms::owner_all);
    std::ofstream(path + "/source") << "1 2.3\n" << source;
    std::ofstream(path + "/v000000.mp4") << "a segment";
    return path;
  }
  // The same, of a source that has not.
  std::string leave_wanted() const {
    const std::string path = leave_abandoned();
    struct stat status = {};
    stat(source.c_str(), &status);
    std::ofstream(path + "/source") << segment_source_text(source, status);
    const std::ofstream lock(path + "/lock");
    return path;
  }
  // Transcodes into the same directory, and expects that nothing else is there then.
  void expect_swept_by(const std::string& profile) const {
    leave_abandoned();
    std::vector<std::string> all = arguments();
    std::replace(all.begin(), all.end(), std::string("72"), profile);
    EXPECT_EQ(run_tool("qxmi_vod_transcode", all).end.status, 0);
    EXPECT_THAT(folder.names(), ElementsAre("out.mp4"));
  }
};

// A small file system that only this process and its children see, on `folder`.
bool mount_small_disk(const std::string& folder, const char* size) {
  return unshare(CLONE_NEWNS) == 0 &&
         mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount("small", folder.c_str(), "tmpfs", 0, size) == 0;
}

}  // namespace

TEST_F(checkpoint_folder, is_private_to_its_owner) {
  interrupt_after(1, SIGKILL);
  struct stat status = {};
  ASSERT_EQ(stat(segment_folder().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0700U);
  ASSERT_EQ(stat(in_folder("v000000.mp4").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
  EXPECT_EQ(status.st_uid, geteuid());
}

TEST_F(checkpoint_folder, that_others_may_enter_is_not_used) {
  interrupt_after(2, SIGKILL);
  const std::string foreign = segment_folder();
  fs::permissions(foreign, fs::perms::all);
  const tool_result result = resume();
  EXPECT_THAT(result.errors, IsEmpty());
  EXPECT_EQ(result.end.status, 0);
  EXPECT_TRUE(fs::exists(foreign + "/v000000.mp4"));
}

TEST_F(checkpoint_folder, of_a_moved_source_is_found_by_the_content) {
  interrupt_after(2, SIGKILL);
  const std::string moved = settings.file("moved.mkv");
  fs::rename(source, moved);
  source = moved;
  const tool_result result = resume();
  expect_resumed(result, 2);
  expect_whole(result);
}

TEST_F(checkpoint_folder, of_a_changed_source_is_removed) {
  interrupt_after(2, SIGKILL);
  fs::last_write_time(source, fs::last_write_time(source) - std::chrono::hours(1));
  const tool_result result = resume();
  EXPECT_THAT(result.errors, IsEmpty());
  expect_whole(result);
}

TEST_F(checkpoint_folder, in_use_is_left_to_its_user) {
  tool_run first("qxmi_vod_transcode", slowly());
  ASSERT_TRUE(wait_until([&] { return finished() >= 1; }));
  first.signal_group(SIGUSR1);  // so that it does not end meanwhile
  const std::string used = segment_folder();
  std::vector<std::string> second = arguments();
  std::replace(second.begin(), second.end(), output, folder.file("second.mp4"));
  EXPECT_EQ(run_tool("qxmi_vod_transcode", second).end.status, 0);
  EXPECT_TRUE(fs::exists(folder.file("second.mp4")));
  EXPECT_TRUE(fs::exists(used + "/v000000.mp4"));
  EXPECT_EQ(segment_folder(), used);
}

TEST_F(checkpoint_folder, of_another_transcode_that_is_abandoned_is_removed_by_a_long_one) {
  expect_swept_by("72");
}

TEST_F(checkpoint_folder, of_another_transcode_that_is_abandoned_is_removed_by_a_short_one) {
  configure("checkpoint=yes\ncheckpoint.min_seconds=60\n");
  expect_swept_by("72");
}

TEST_F(checkpoint_folder, of_another_transcode_that_is_abandoned_is_removed_by_one_of_sound) {
  expect_swept_by("audio");
}

TEST_F(checkpoint_folder, of_another_transcode_that_is_abandoned_is_removed_without_checkpoints) {
  configure("checkpoint=no\n");
  expect_swept_by("72");
}

TEST_F(checkpoint_folder, of_an_old_transcode_is_resumed_rather_than_removed) {
  interrupt_after(2, SIGKILL);
  const fs::path moved = settings.file("moved.mkv");
  fs::rename(source, moved);
  source = moved;
  fs::last_write_time(segment_folder(), fs::last_write_time(source) - std::chrono::hours(1000));
  expect_resumed(resume(), 2);
}

TEST_F(checkpoint_folder, knows_the_whole_path_of_the_source) {
  tool_run run("qxmi_vod_transcode",
               {"--cpu-cap", "5", "--profile", "72", "-o", output, "--file", "film.mkv"},
               settings.path());
  ASSERT_TRUE(wait_until([&] { return finished() >= 1; }));
  std::ifstream stream(in_folder("source"));
  const std::string text(std::istreambuf_iterator<char>(stream), {});
  EXPECT_THAT(text, EndsWith("\n" + source));
}

// There is room for the file of the result, and for nothing else.
TEST_F(checkpoint_folder, that_cannot_be_made_is_done_without) {
  if (!mount_small_disk(folder.path(), "nr_inodes=2")) {
    QX_SKIP_OR_FAIL_IN_CI("mounting needs privileges");
  }
  const tool_result result = resume();
  EXPECT_THAT(result.errors, IsEmpty());
  expect_whole(result);
  umount(folder.path().c_str());
}

TEST_F(checkpoint_folder, of_others_makes_room_for_one_that_would_not_begin) {
  if (!mount_small_disk(folder.path(), "size=4m")) {
    QX_SKIP_OR_FAIL_IN_CI("mounting needs privileges");
  }
  interrupt_after(1, SIGKILL);
  std::ofstream(in_folder("v000001.mp4")) << std::string(4 << 20, 'x');
  std::vector<std::string> other = arguments();
  std::replace(other.begin(), other.end(), std::string("72"), std::string("audio"));
  EXPECT_EQ(run_tool("qxmi_vod_transcode", other).end.status, 0);
  EXPECT_THAT(folder.names(), ElementsAre("out.mp4"));
  umount(folder.path().c_str());
}

TEST_F(checkpoint_folder, that_finds_no_room_beside_those_of_others_replaces_them) {
  if (!mount_small_disk(folder.path(), "nr_inodes=100")) {
    QX_SKIP_OR_FAIL_IN_CI("mounting needs privileges");
  }
  const std::string others = leave_wanted();
  for (int i = 0; std::ofstream(others + "/s" + std::to_string(i)); ++i) {}
  fs::remove(others + "/s0");  // which leaves one file, for the result
  const tool_run run("qxmi_vod_transcode", slowly());
  EXPECT_TRUE(wait_until([&] { return !fs::exists(others) && finished() >= 1; }));
  umount2(folder.path().c_str(), MNT_DETACH);
}

TEST_F(checkpoint_folder, with_anything_else_in_it_is_no_reason_to_fail) {
  interrupt_after(1, SIGKILL);
  fs::create_directory(in_folder("v000001.mp4"));
  std::ofstream(in_folder("key")) << "another key";
  EXPECT_EQ(resume().end.status, 0);
  EXPECT_TRUE(fs::exists(output));
}
