// Sources and outputs that the transcoder must refuse: one line that names the file, status 1, and
// no files left.
#include <filesystem>
#include <fstream>

#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/made_media.h"
#include "tests/support/media/test_media.h"
#include "tests/support/media/tool_run.h"
#include "tests/support/skip.h"

using namespace qx_test;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

const std::string tool = "qxmi_vod_transcode";

void expect_refused(const std::vector<std::string>& arguments, const std::string& file,
                    const std::string& cause) {
  const tool_result result = run_tool(tool, arguments);
  EXPECT_EQ(result.end.status, 1);
  EXPECT_THAT(result.errors, ElementsAre(AllOf(HasSubstr(file), HasSubstr(cause))));
}

// Neither listed nor transcoded.
void expect_source_refused(const std::string& path, const std::string& cause) {
  const scratch_folder folder;
  expect_refused({"--file", path, "--quote"}, path, cause);
  expect_refused({"--file", path, "--profile", "240", "-o", folder.file("out.mp4")}, path, cause);
  EXPECT_THAT(folder.names(), IsEmpty());
}

void expect_transcode_refused(const std::string& source, const std::string& profile,
                              const std::string& cause) {
  const scratch_folder folder;
  const std::string path = test_media(source);
  expect_refused({"--file", path, "--profile", profile, "-o", folder.file("out.mp4")}, path, cause);
  EXPECT_THAT(folder.names(), IsEmpty());
}

// A file system of 64 KiB that only this process and its children see, on `folder`.
bool mount_small_disk(const std::string& folder) {
  return unshare(CLONE_NEWNS) == 0 &&
         mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount("small", folder.c_str(), "tmpfs", 0, "size=64k") == 0;
}

}  // namespace

TEST(transcode_refuses, a_text_file) {
  expect_source_refused(test_media("text.mp4"), "Invalid data");
}

TEST(transcode_refuses, an_empty_file) {
  expect_source_refused(test_media("empty.mp4"), "is empty");
}

TEST(transcode_refuses, a_missing_file) {
  expect_source_refused("/nowhere/film.mp4", "No such file");
}

TEST(transcode_refuses, a_directory) {
  const scratch_folder folder;
  expect_source_refused(folder.path(), "is a directory");
}

TEST(transcode_refuses, a_profile_that_the_source_does_not_offer) {
  expect_transcode_refused("silent.mp4", "720", "does not offer the profile 720");
  expect_transcode_refused("silent.mp4", "36", "does not offer the profile 36");
}

TEST(transcode_refuses, a_fifo) {
  const scratch_folder folder;
  ASSERT_EQ(mkfifo(folder.file("film.mp4").c_str(), 0600), 0);
  expect_source_refused(folder.file("film.mp4"), "is not a regular file");
}

TEST(transcode_refuses, a_device) {
  expect_source_refused("/dev/zero", "is not a regular file");
}

TEST(transcode_refuses, a_still) {
  expect_source_refused(test_media("still.png"), "is not audio or video of a supported kind");
}

TEST(transcode_refuses, a_name_with_a_line_feed_on_one_line) {
  expect_refused({"--file", "no\nfilm.mp4", "--quote"}, "no\\nfilm.mp4", "No such file");
}

TEST(transcode_refuses, a_video_that_ends_long_before_its_declared_length) {
  expect_transcode_refused("truncated.mp4", "240", "declared length is 4.");
}

TEST(transcode_refuses, a_film_that_declares_many_days) {
  const scratch_folder folder;
  expect_source_refused(
      make_media(folder, "film.mp4",
                 "-f lavfi -i color=s=64x64:r=1 -frames:v 2 -vf setpts=N*1987200/TB "
                 "-fps_mode passthrough -c:v mjpeg -video_track_timescale 1"),
      "lasts 552 h, more than the 48 h of length.max_hours");
}

TEST(transcode_refuses, a_terabyte_of_holes) {
  const scratch_folder folder;
  const std::string film = copy_to(folder.file("film.ts"), test_media("interlaced_small.ts"));
  ASSERT_EQ(truncate(film.c_str(), off_t{1} << 40), 0);
  expect_source_refused(film, "is mostly holes: ");
}

TEST(transcode_refuses, a_picture_profile_for_sound_alone) {
  expect_transcode_refused("tone.wav", "720", "has no video");
}

TEST(transcode_refuses, the_sound_profile_for_a_picture_alone) {
  expect_transcode_refused("silent.mp4", "audio", "has no audio");
}

TEST(transcode_refuses, a_missing_output_folder) {
  const std::string output = "/nowhere/out.mp4";
  expect_refused({"--file", test_media("silent.mp4"), "--profile", "180", "-o", output}, output,
                 "No such file");
}

TEST(transcode_refuses, an_output_that_is_a_directory) {
  const scratch_folder folder;
  expect_refused({"--file", test_media("silent.mp4"), "--profile", "180", "-o", folder.path()},
                 folder.path(), "directory");
}

TEST(transcode_refuses, its_own_source_as_output) {
  const scratch_folder folder;
  const std::string film = folder.file("film.mp4");
  std::filesystem::copy_file(test_media("silent.mp4"), film);
  const auto size = std::filesystem::file_size(film);
  const std::string output = folder.file("./film.mp4");
  expect_refused({"--file", film, "--profile", "180", "-o", output}, output, "is the source");
  EXPECT_EQ(std::filesystem::file_size(film), size);
}

TEST(transcode_refuses, a_full_disk) {
  const scratch_folder folder;
  if (!mount_small_disk(folder.path())) { QX_SKIP_OR_FAIL_IN_CI("mounting needs privileges"); }
  const std::string output = folder.file("out.mp4");
  expect_refused(
      {"--file", test_media("progressive.mp4"), "--profile", "360", "-o", output}, output,
      "No space left on device: needs about 305.0 kB, 65.5 kB are free on " + folder.path());
  EXPECT_THAT(folder.names(), IsEmpty());
  umount(folder.path().c_str());
}

TEST(transcode_refuses, a_job_without_hope_of_room_before_it_starts) {
  const scratch_folder folder;
  if (!mount_small_disk(folder.path())) { QX_SKIP_OR_FAIL_IN_CI("mounting needs privileges"); }
  const std::string output = folder.file("out.mp4");
  tool_run run(tool, {"--file", test_media("long.mp4"), "--profile", "180", "-o", output});
  EXPECT_EQ(run.wait().status, 1);
  EXPECT_THAT(run.error_lines(),
              ElementsAre(AllOf(HasSubstr("No space left on device: needs about "),
                                HasSubstr(" kB are free on " + folder.path()))));
  EXPECT_EQ(run.output(), "");  // no progress: the encoder was not started
  EXPECT_THAT(folder.names(), IsEmpty());
  umount(folder.path().c_str());
}

TEST(transcode_refuses, a_failure_leaves_an_older_result_alone) {
  const scratch_folder folder;
  std::ofstream(folder.file("out.mp4")) << "older";
  expect_refused(
      {"--file", test_media("truncated.mp4"), "--profile", "240", "-o", folder.file("out.mp4")},
      "truncated.mp4", "declared length");
  EXPECT_THAT(folder.names(), ElementsAre("out.mp4"));
  EXPECT_EQ(std::filesystem::file_size(folder.file("out.mp4")), 5U);
}
