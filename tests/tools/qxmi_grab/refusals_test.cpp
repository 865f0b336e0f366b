// Files without a picture: one line that names the file, status 1, and no files left.
#include <filesystem>
#include <fstream>

#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/made_media.h"
#include "tests/support/media/test_media.h"

using namespace qx_test;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

void expect_refused(const std::vector<std::string>& arguments, const std::string& file,
                    const std::string& cause) {
  const tool_result result = run_tool("qxmi_grab", arguments);
  EXPECT_EQ(result.end.status, 1);
  EXPECT_THAT(result.errors, ElementsAre(AllOf(HasSubstr(file), HasSubstr(cause))));
}

void expect_source_refused(const std::string& source, const std::string& cause,
                           const std::string& moment = "random") {
  const scratch_folder folder;
  expect_refused({"-t", moment, "-o", folder.file("a.jpg"), "--file", source}, source, cause);
  EXPECT_THAT(folder.names(), IsEmpty());
}

}  // namespace

TEST(grab_refuses, a_terabyte_of_holes) {
  const scratch_folder folder;
  const std::string film = copy_to(folder.file("film.ts"), test_media("interlaced_small.ts"));
  ASSERT_EQ(truncate(film.c_str(), off_t{1} << 40), 0);
  expect_source_refused(film, "is mostly holes: ");
}

TEST(grab_refuses, a_missing_file) {
  expect_source_refused("/nowhere/film.mp4", "No such file");
}

TEST(grab_refuses, a_text) {
  expect_source_refused(test_media("text.mp4"), "Invalid data");
}

TEST(grab_refuses, an_empty_file) {
  expect_source_refused(test_media("empty.mp4"), "is empty");
}

TEST(grab_refuses, a_directory) {
  const scratch_folder folder;
  expect_source_refused(folder.path(), "is a directory");
}

TEST(grab_refuses, a_fifo) {
  const scratch_folder folder;
  ASSERT_EQ(mkfifo(folder.file("film.mp4").c_str(), 0600), 0);
  expect_source_refused(folder.file("film.mp4"), "is not a regular file");
}

TEST(grab_refuses, a_device) {
  expect_source_refused("/dev/zero", "is not a regular file");
}

TEST(grab_refuses, a_playlist_that_names_another_file) {
  const scratch_folder folder;
  const std::string list = folder.file("movie.mp4");
  std::ofstream(list) << "ffconcat version 1.0\nfile '" << test_media("silent.mp4") << "'\n";
  expect_source_refused(list, "is not audio or video of a supported kind");
}

TEST(grab_refuses, a_moment_behind_the_end) {
  expect_source_refused(test_media("silent.mp4"), "has no frame at 99.000 s", "99");
}

TEST(grab_refuses, a_folder_that_is_not_there) {
  const std::string picture = "/nowhere/a.jpg";
  expect_refused({"-o", picture, "--file", test_media("silent.mp4")}, picture, "No such file");
}

TEST(grab_refuses, a_directory_as_its_picture) {
  const scratch_folder folder;
  expect_refused({"-o", folder.path(), "--file", test_media("silent.mp4")}, folder.path(),
                 "directory");
}

TEST(grab_refuses, its_own_source_as_its_picture) {
  const scratch_folder folder;
  const std::string film = copy_to(folder.file("film.mp4"), test_media("silent.mp4"));
  const auto size = std::filesystem::file_size(film);
  expect_refused({"-o", film, "--file", film}, film, "is the source");
  EXPECT_EQ(std::filesystem::file_size(film), size);
}
