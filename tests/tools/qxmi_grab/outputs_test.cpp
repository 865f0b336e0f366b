// The picture appears whole or not at all.
#include <csignal>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/made_media.h"
#include "tests/support/media/media_check.h"
#include "tests/support/media/test_media.h"

using namespace qx_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

std::vector<std::string> grab_arguments(const std::string& source, const std::string& picture) {
  return {"--height", "180", "-t", "random", "-o", picture, "--file", source};
}

// Days of silence without bytes on disk: drawing its waveform takes longer than any test.
std::string endless_sound(const scratch_folder& folder) {
  using namespace std::string_literals;
  const std::string head = "RIFF\xff\xff\xff\xffWAVE"
                           "fmt \x10\0\0\0\x01\0\x02\0"            // samples as they are, stereo
                           "\x80\xbb\0\0\0\xee\x02\0\x04\0\x10\0"  // 48000 a second, 16 bits
                           "data\xff\xff\xff\xff"s;                // up to the end of the file
  std::string path = folder.file("endless.wav");
  std::ofstream(path, std::ios::binary) << head;
  std::filesystem::resize_file(path, std::uintmax_t{1} << 30);
  return path;
}

}  // namespace

TEST(grab_output, replaces_an_older_picture) {
  const scratch_folder folder;
  const std::string picture = folder.file("old.jpg");
  std::ofstream(picture) << "older";
  ASSERT_EQ(run_tool("qxmi_grab", grab_arguments(test_media("silent.mp4"), picture)).end.status, 0);
  EXPECT_EQ(stream_of(inspect(picture), "video")["height"].int_value(), 180);
  EXPECT_THAT(folder.names(), ElementsAre("old.jpg"));
}

TEST(grab_output, a_failure_leaves_an_older_picture_alone) {
  const scratch_folder folder;
  std::ofstream(folder.file("old.jpg")) << "older";
  const tool_result result = run_tool(
      "qxmi_grab", {"-t", "99", "-o", folder.file("old.jpg"), "--file", test_media("silent.mp4")});
  EXPECT_EQ(result.end.status, 1);
  EXPECT_THAT(folder.names(), ElementsAre("old.jpg"));
  EXPECT_EQ(std::filesystem::file_size(folder.file("old.jpg")), 5U);
}

TEST(grab_output, sigterm_leaves_nothing_behind) {
  const scratch_folder folder;
  const scratch_folder sounds;
  tool_run run("qxmi_grab", grab_arguments(endless_sound(sounds), folder.file("a.jpg")));
  run.engine();
  EXPECT_THAT(folder.names(), ElementsAre(StartsWith(".")));
  run.signal_group(SIGTERM);
  EXPECT_EQ(run.wait().signal, SIGTERM);
  EXPECT_THAT(folder.names(), IsEmpty());
  EXPECT_THAT(run.error_lines(), IsEmpty());
}

TEST(grab_output, goes_on_after_being_suspended) {
  const scratch_folder folder;
  tool_run run("qxmi_grab", grab_arguments(test_media("interlaced.ts"), folder.file("a.jpg")));
  run.engine();
  run.signal_group(SIGUSR1);
  run.signal_group(SIGUSR2);
  EXPECT_EQ(run.wait().status, 0);
  EXPECT_THAT(folder.names(), ElementsAre("a.jpg"));
}

TEST(grab_output, less_quality_gives_a_smaller_file) {
  const scratch_folder folder;
  const std::string film = test_media("progressive.mp4");
  std::uintmax_t last = 0;
  for (const char* quality : {"10", "50", "75", "95"}) {
    const std::string picture = folder.file(quality);
    const std::vector<std::string> arguments = {"--jpeg-quality", quality,  "-t", "1", "-o",
                                                picture,          "--file", film};
    ASSERT_EQ(run_tool("qxmi_grab", arguments).end.status, 0);
    EXPECT_GT(std::filesystem::file_size(picture), last) << quality;
    last = std::filesystem::file_size(picture);
  }
}

TEST(grab_output, quality_75_has_the_tables_people_expect) {
  const scratch_folder folder;
  const std::string picture = folder.file("a.jpg");
  ASSERT_EQ(run_tool("qxmi_grab", {"--jpeg-quality", "75", "-t", "1", "-o", picture, "--file",
                                   test_media("progressive.mp4")})
                .end.status,
            0);
  std::ifstream stream(picture, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(stream), {}};
  const std::size_t table = bytes.find("\xff\xdb");
  ASSERT_NE(table, std::string::npos);
  int sum = 0;
  for (std::size_t n = 0; n < 64; ++n) {
    sum += static_cast<unsigned char>(bytes.at(table + 5 + n));
  }
  // The usual encoder's luminance table at 75 has a mean of 28.8.
  EXPECT_NEAR(sum / 64.0, 28.8, 2.0);
}
