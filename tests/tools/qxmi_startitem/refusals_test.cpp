// Files that cannot be identified: one line that names the file, status 1, and no metadata.
#include <filesystem>
#include <fstream>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/test_media.h"
#include "tests/tools/qxmi_startitem/run.h"

using namespace qx_test;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

namespace {

void expect_refused(const std::string& path, const std::string& cause) {
  const tool_result result = run_tool("qxmi_startitem", startitem_arguments(path));
  EXPECT_EQ(result.end.status, 1);
  EXPECT_TRUE(result.output.empty());
  EXPECT_THAT(result.errors, ElementsAre(AllOf(HasSubstr(path), HasSubstr(cause))));
}

// A refusal that leaves `folder` with the one file it had and, in the metadata's place, its reason.
void expect_reason_in(const scratch_folder& folder, const std::string& cause) {
  expect_refused(folder.file("film.mp4"), cause);
  EXPECT_THAT(folder.names(), UnorderedElementsAre("film.mp4", ".film.mp4.metadata"));
  EXPECT_EQ(
      std::distance(std::filesystem::directory_iterator(folder.file(".film.mp4.metadata")), {}), 1);
  EXPECT_TRUE(std::filesystem::exists(folder.file(".film.mp4.metadata/vod.log")));
}

// A refusal that leaves `folder` with the one file it had.
void expect_refused_in(const scratch_folder& folder, const std::string& cause) {
  expect_refused(folder.file("film.mp4"), cause);
  EXPECT_THAT(folder.names(), ElementsAre("film.mp4"));
}

}  // namespace

TEST(startitem_refuses, a_missing_file) {
  expect_refused("/nowhere/film.mp4", "No such file");
}

TEST(startitem_refuses, a_link_to_nothing) {
  const scratch_folder folder;
  std::filesystem::create_symlink("nothing", folder.file("film.mp4"));
  expect_refused_in(folder, "No such file");
}

TEST(startitem_refuses, a_directory) {
  const scratch_folder folder;
  std::filesystem::create_directory(folder.file("film.mp4"));
  expect_reason_in(folder, "is a directory");
}

TEST(startitem_refuses, a_fifo) {
  const scratch_folder folder;
  ASSERT_EQ(mkfifo(folder.file("film.mp4").c_str(), 0600), 0);
  expect_reason_in(folder, "is not a regular file");
}

TEST(startitem_refuses, a_socket) {
  const scratch_folder folder;
  const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  folder.file("film.mp4").copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  expect_reason_in(folder, "is not a regular file");
  close(fd);
}

TEST(startitem_refuses, a_device) {
  expect_refused("/dev/zero", "is not a regular file");
}

TEST(startitem_refuses, metadata_itself) {
  const scratch_folder folder;
  std::filesystem::create_directory(folder.file(".a.metadata"));
  const std::string picture = folder.file(".a.metadata/film.mp4");
  copy_to(picture, test_media("silent.mp4"));
  expect_refused(picture, "is itself a metadata file");
  EXPECT_FALSE(std::filesystem::exists(folder.file(".a.metadata/.film.mp4.metadata")));
}

TEST(startitem_refuses, a_name_too_long_for_metadata) {
  const scratch_folder folder;
  const std::string path = folder.file(std::string(246, 'x'));
  std::ofstream(path) << "text";
  expect_refused(path, "File name too long");
}

TEST(startitem_refuses, a_metadata_directory_that_is_a_file) {
  const scratch_folder folder;
  const std::string film = copy_to(folder.file("film.mp4"), test_media("silent.mp4"));
  std::ofstream(folder.file(".film.mp4.metadata")) << "in the way";
  expect_refused(film, "metadata");
  EXPECT_EQ(std::filesystem::file_size(folder.file(".film.mp4.metadata")), 10U);
}
