// The folder beside the output in which finished segments wait for the next run of the tool.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/wait_until.h"
#include "tests/tools/qxmi_vod_transcode/checkpoint_bench.h"
#include "tools/media/left_segments.h"

using namespace qx_test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

class checkpoint_folder : public checkpoint_bench {
protected:
  // Another folder of that kind, whose source is `of`.
  std::string left_folder(const std::string& of) const {
    const std::string path = folder.file(".qx-segments-0123456789abcdef");
    fs::create_directory(path);
    fs::permissions(path, fs::perms::owner_all);
    struct stat status = {};
    stat(of.c_str(), &status);
    std::ofstream(path + "/source") << segment_source_text(of, status);
    std::ofstream(path + "/v000000.mp4") << "a segment";
    return path;
  }
};

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

TEST_F(checkpoint_folder, of_a_source_that_is_gone_is_swept) {
  left_folder(settings.file("gone.mkv"));
  expect_whole(resume());
}

TEST_F(checkpoint_folder, of_a_source_that_is_there_is_kept_for_some_days) {
  const std::string left = left_folder(source);
  EXPECT_EQ(find_left_segments(folder.path(), left_segments::abandoned, 7).count, 0U);
  EXPECT_EQ(find_left_segments(folder.path(), left_segments::all, 7).count, 1U);
  const timespec old[2] = {{std::time(nullptr) - 8 * 86400, 0},
                           {std::time(nullptr) - 8 * 86400, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, left.c_str(), old, 0), 0);
  EXPECT_EQ(remove_left_segments(folder.path(), left_segments::abandoned, 7).count, 1U);
  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(checkpoint_folder, with_anything_else_in_it_is_no_reason_to_fail) {
  interrupt_after(1, SIGKILL);
  fs::create_directory(in_folder("v000001.mp4"));
  std::ofstream(in_folder("key")) << "another key";
  EXPECT_EQ(resume().end.status, 0);
  EXPECT_TRUE(fs::exists(output));
}
