// Where a transcode was resumed, as its log says.
#include <filesystem>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/tool_run.h"
#include "tools/job_log/job_resumption.h"

using testing::Optional;

namespace {

namespace fs = std::filesystem;

const std::string opening = "=== 2026-11-22T10:00:00.000Z qxmi_vod_transcode 0.1.0\n";
const std::string closing = "--- 2026-11-22T10:20:00.000Z qxmi_vod_transcode done\n";
const std::string resumed =
    "2026-11-22T10:00:01.500Z checkpoint: resumed at 63 %, after 226 finished segments\n";
const std::string started_over =
    "2026-11-22T10:00:02.000Z checkpoint: starts over: its clock jumps\n";

std::optional<int> percent_in(const std::string& log) {
  const auto found = resumption_in(log);
  return found ? std::optional<int>(found->percent) : std::nullopt;
}

}  // namespace

TEST(job_resumption, is_that_of_the_run_at_work) {
  const auto found = resumption_in(opening + resumed + "2026-11-22T10:00:02.000Z run: ffmpeg\n");
  ASSERT_TRUE(found);
  EXPECT_EQ(found->percent, 63);
  EXPECT_EQ(found->time, 1795341601);
  EXPECT_EQ(resumption_text(*found), "resumed at 63 %");
}

TEST(job_resumption, of_an_earlier_run_does_not_count) {
  EXPECT_EQ(percent_in(opening + resumed + closing), std::nullopt);
  EXPECT_EQ(percent_in(opening + resumed + opening), std::nullopt) << "the first one was killed";
}

TEST(job_resumption, is_void_if_the_run_starts_over) {
  EXPECT_EQ(percent_in(opening + resumed + started_over), std::nullopt);
}

TEST(job_resumption, needs_the_note_of_the_tool_itself) {
  const std::string time = "2026-11-22T10:00:01.500Z ";
  for (const std::string line : {"engine: resumed at 63 %", "engine: checkpoint: resumed at 63 %",
                                 "checkpoint: resumed at soon", "checkpoint: resumed at 101 %",
                                 "checkpoint: resumed at -5 %", "checkpoint:"}) {
    EXPECT_EQ(percent_in(opening + time + line + "\n"), std::nullopt) << line;
  }
  EXPECT_EQ(percent_in(opening + "then checkpoint: resumed at 63 %\n"), std::nullopt);
}

TEST(job_resumption, is_found_in_the_log_of_the_output_however_much_follows) {
  const qx_test::scratch_folder folder;
  fs::create_directory(folder.file(".film.mp4.metadata"));
  std::ofstream log(folder.file(".film.mp4.metadata/vod.log"));
  log << opening << resumed;
  for (int i = 0; i < 1000; ++i) {
    log << "2026-11-22T10:00:02.000Z engine: a line of forty bytes or a little more\n";
  }
  log.close();
  const auto found = find_resumption(folder.file("film.mp4"));
  ASSERT_TRUE(found);
  EXPECT_EQ(found->percent, 63);
  EXPECT_FALSE(find_resumption(folder.file("other.mp4")));
  EXPECT_FALSE(find_resumption(""));
}
