// Transcodes in segments on a disk that becomes full.
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/skip.h"
#include "tests/tools/qxmi_vod_transcode/checkpoint_bench.h"
#include "tools/media/segment_folder.h"

using namespace qx_test;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t large_disk = 64U << 20;
constexpr std::uintmax_t little_room = 8U << 10;

class checkpoint_disk : public checkpoint_bench {
protected:
  // What the film takes in one piece.
  std::uintmax_t result_size() const {
    EXPECT_EQ(resume().end.status, 0);
    const std::uintmax_t size = fs::file_size(output);
    fs::remove(output);
    return size;
  }

  // A file system that only this process and its children see, for the result.
  bool mount_disk(std::uintmax_t bytes) const {
    const std::string size = "size=" + std::to_string(bytes);
    return unshare(CLONE_NEWNS) == 0 &&
           mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("small", folder.path().c_str(), "tmpfs", 0, size.c_str()) == 0;
  }

  void resize_disk(std::uintmax_t bytes) const {
    const std::string size = "size=" + std::to_string(bytes);
    ASSERT_EQ(mount("small", folder.path().c_str(), "tmpfs", MS_REMOUNT, size.c_str()), 0);
  }

  // A file that takes all of the room but some.
  void fill_disk(const std::string& path) const {
    const std::uintmax_t free = fs::space(folder.path()).available;
    std::ofstream(path) << std::string(free - little_room, 'f');
  }

  // Segments for a source that is there, which nobody is using.
  std::string leave_segments(std::uintmax_t bytes) const {
    const std::string path = folder.file(".qx-segments-0123456789abcdef");
    fs::create_directory(path);
    fs::permissions(path, fs::perms::owner_all);
    struct stat status = {};
    stat(source.c_str(), &status);
    std::ofstream(path + "/source") << segment_source_text(source, status);
    std::ofstream(path + "/v000000.mp4") << std::string(bytes, 's');
    return path;
  }

  ~checkpoint_disk() override { umount2(folder.path().c_str(), MNT_DETACH); }
};

}  // namespace

TEST_F(checkpoint_disk, with_room_for_the_result_but_not_for_segments_takes_the_result) {
  if (!mount_disk(result_size() * 3 / 2)) { QX_SKIP_OR_FAIL_IN_CI("mounting needs privileges"); }
  const tool_result result = resume();
  EXPECT_THAT(result.errors, IsEmpty());
  expect_whole(result);
}

TEST_F(checkpoint_disk, full_in_the_join_keeps_the_segments_and_says_what_is_missing) {
  const std::uintmax_t size = result_size();
  if (!mount_disk(large_disk)) { QX_SKIP_OR_FAIL_IN_CI("mounting needs privileges"); }
  interrupt_after(1, SIGKILL);
  resize_disk(size * 3 / 2);
  const tool_result result = resume();
  EXPECT_EQ(result.end.status, 1);
  EXPECT_THAT(result.errors,
              ElementsAre(HasSubstr("resumed at"),
                          AllOf(HasSubstr(output + ": "),
                                HasSubstr("No space left on device: needs about "))));
  resize_disk(large_disk);
  const tool_result next = resume();
  expect_resumed(next, 6);
  expect_whole(next);
}

TEST_F(checkpoint_disk, full_in_the_middle_says_why_and_leaves_nothing) {
  if (!mount_disk(result_size() * 3 / 4)) { QX_SKIP_OR_FAIL_IN_CI("mounting needs privileges"); }
  const tool_result result = resume();
  EXPECT_THAT(result.output, Not(IsEmpty()));  // it was begun
  EXPECT_EQ(result.end.status, 1);
  EXPECT_THAT(result.errors,
              ElementsAre(AllOf(HasSubstr(output + ": "),
                                HasSubstr("No space left on device: needs about "))));
  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(checkpoint_disk, full_in_the_middle_keeps_the_segments_of_a_resumed_transcode) {
  if (!mount_disk(large_disk)) { QX_SKIP_OR_FAIL_IN_CI("mounting needs privileges"); }
  interrupt_after(3, SIGKILL);
  const std::string other = folder.file("other");
  fill_disk(other);
  const tool_result result = resume();
  EXPECT_EQ(result.end.status, 1);
  EXPECT_THAT(result.errors, ElementsAre(HasSubstr("resumed at"),
                                         HasSubstr("No space left on device: needs about ")));
  EXPECT_GE(finished(), 3U);
  fs::remove(other);
  const tool_result next = resume();
  expect_resumed(next, 3);
  expect_whole(next);
}

TEST_F(checkpoint_disk, full_of_the_segments_of_others_is_cleared_of_them) {
  const std::uintmax_t size = result_size();
  if (!mount_disk(3 * size)) { QX_SKIP_OR_FAIL_IN_CI("mounting needs privileges"); }
  leave_segments(size * 5 / 2);
  expect_whole(resume());
}

TEST_F(checkpoint_disk, full_in_the_join_of_the_segments_of_others_is_cleared_of_them) {
  const std::uintmax_t size = result_size();
  if (!mount_disk(large_disk)) { QX_SKIP_OR_FAIL_IN_CI("mounting needs privileges"); }
  interrupt_after(1, SIGKILL);
  leave_segments(size * 2);
  resize_disk(size * 7 / 2);
  const tool_result result = resume();
  expect_resumed(result, 1);
  expect_whole(result);
}
