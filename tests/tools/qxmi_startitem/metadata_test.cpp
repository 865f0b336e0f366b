// The metadata file: the entries it keeps and how it is written.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/test_media.h"
#include "tests/support/wait_until.h"
#include "tests/tools/qxmi_startitem/run.h"

using namespace qx_test;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

namespace fs = std::filesystem;

namespace {

bool has_child(pid_t pid) {
  const std::string process = "/proc/" + std::to_string(pid);
  std::ifstream children(process + "/task/" + std::to_string(pid) + "/children");
  pid_t child = 0;
  return static_cast<bool>(children >> child);
}

class startitem_metadata : public testing::Test {
protected:
  tool_end run() const { return run_tool("qxmi_startitem", startitem_arguments(film)).end; }

  scratch_folder folder;
  std::string film = copy_to(folder.file("film.mp4"), test_media("silent.mp4"));
  std::string metadata = folder.file(".film.mp4.metadata/metadata");
};

}  // namespace

TEST_F(startitem_metadata, is_next_to_the_file) {
  ASSERT_EQ(run().status, 0);
  EXPECT_THAT(folder.names(), ElementsAre(".film.mp4.metadata", "film.mp4"));
  EXPECT_TRUE(fs::is_regular_file(metadata));
}

TEST_F(startitem_metadata, keeps_entries_of_others) {
  write_metadata(film, "offline", "1");
  ASSERT_EQ(run().status, 0);
  EXPECT_THAT(metadata_of(film),
              AllOf(Contains(Pair("offline", "1")), Contains(Pair("file type", "video/mp4"))));
}

TEST_F(startitem_metadata, keeps_values_of_others_unchanged) {
  const std::string odd = "two\nlines, a back\\slash = and \"quotes\"";
  write_metadata(film, "title", odd);
  ASSERT_EQ(run().status, 0);
  EXPECT_THAT(metadata_of(film), Contains(Pair("title", odd)));
}

TEST_F(startitem_metadata, replaces_its_own_entries) {
  write_metadata(film, "file type", "text/plain");
  ASSERT_EQ(run().status, 0);
  EXPECT_THAT(metadata_of(film), Contains(Pair("file type", "video/mp4")));
}

TEST_F(startitem_metadata, empties_entries_that_no_longer_apply) {
  ASSERT_EQ(run().status, 0);
  std::ofstream(film) << "now a text";
  ASSERT_EQ(run().status, 0);
  EXPECT_THAT(metadata_of(film),
              AllOf(Contains(Pair("file type", "text/plain")), Contains(Pair("duration", "")),
                    Contains(Pair("video codec", "")), Contains(Pair("size", "10"))));
}

TEST_F(startitem_metadata, is_replaced_and_never_rewritten_in_place) {
  write_metadata(film, "offline", "0");
  std::ifstream old(metadata);  // keeps reading the old file, whole
  ASSERT_EQ(run().status, 0);
  const std::string text{std::istreambuf_iterator<char>(old), {}};
  EXPECT_EQ(text, "offline=0\n");
  EXPECT_EQ(fs::hard_link_count(metadata), 1U);
  // The metadata and the log.
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.file(".film.mp4.metadata")), {}), 2);
}

TEST_F(startitem_metadata, that_is_malformed_is_left_alone) {
  write_metadata(film, "offline", "1");
  std::ofstream(metadata, std::ios::app) << "no entry\n";
  const auto size = fs::file_size(metadata);
  const tool_result result = run_tool("qxmi_startitem", startitem_arguments(film));
  EXPECT_EQ(result.end.status, 1);
  EXPECT_THAT(result.errors, ElementsAre(AllOf(HasSubstr(film), HasSubstr("cannot be read"))));
  EXPECT_EQ(fs::file_size(metadata), size);
}

TEST_F(startitem_metadata, of_a_link_belongs_to_the_link) {
  fs::create_symlink("film.mp4", folder.file("link.mp4"));
  const std::string link = folder.file("link.mp4");
  ASSERT_EQ(run_tool("qxmi_startitem", startitem_arguments(link)).end.status, 0);
  EXPECT_THAT(metadata_of(link), Contains(Pair("file type", "video/mp4")));
  EXPECT_FALSE(fs::exists(metadata));
}

TEST_F(startitem_metadata, is_not_written_after_sigterm) {
  // A bare stream is read to its end, which gives the signal its time.
  const std::string stream =
      make_media(folder, "long.h264", "-i " + test_media("long.mp4") + " -map 0:v -c copy -f h264");
  tool_run tool("qxmi_startitem", startitem_arguments(stream));
  ASSERT_TRUE(wait_until([&] { return has_child(tool.pid()); }));
  tool.signal_group(SIGTERM);
  EXPECT_EQ(tool.wait().signal, SIGTERM);
  EXPECT_FALSE(fs::exists(folder.file(".long.h264.metadata")));
  EXPECT_TRUE(tool.error_lines().empty());
}
