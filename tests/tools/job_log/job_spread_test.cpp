// Where a transcode runs that is spread over a cluster, as its log says.
#include <ctime>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/tool_run.h"
#include "tools/job_log/job_spread.h"
#include "tools/job_log/log_time.h"

using testing::ElementsAre;

namespace {

namespace fs = std::filesystem;

// 2026-11-22T10:00:00Z
constexpr std::time_t begin = 1795341600;

const std::string opening = "=== 2026-11-22T10:00:00.000Z qxmi_vod_transcode 0.1.0\n";
const std::string closing = "--- 2026-11-22T10:00:20.000Z qxmi_vod_transcode done\n";
const std::string time_of_note = "2026-11-22T10:00:15.500Z ";
const std::string note =
    time_of_note + "cluster: 41 of 96 segments, 9 under way on n1, n2 and 4 more\n";
const std::string ended = "2026-11-22T10:00:16.000Z cluster: ended, nothing happened for 120 s\n";

bool is_spread(const std::string& log, std::time_t now = begin + 20) {
  return spread_in(log, now).has_value();
}

}  // namespace

TEST(job_spread, is_that_of_the_last_note) {
  const std::string next =
      "2026-11-22T10:00:45.500Z cluster: 43 of 96 segments, 8 under way on n1, node-3.rack\n";
  const auto found = spread_in(opening + note + next, begin + 50);
  ASSERT_TRUE(found);
  EXPECT_EQ(found->finished, 43);
  EXPECT_EQ(found->all, 96);
  EXPECT_EQ(found->under_way, 8);
  EXPECT_THAT(found->nodes, ElementsAre("n1", "node-3.rack"));
  EXPECT_EQ(found->more_nodes, 0);
}

TEST(job_spread, reads_what_the_tool_writes) {
  const job_spread one = {0, 96, 1, {"n1"}, 0};
  const job_spread many = {41, 96, 9, {"n1", "n2"}, 4};
  const job_spread waiting = {0, 96, 0, {}, 0};
  EXPECT_EQ(spread_text(one), "0 of 96 segments, 1 under way on n1");
  EXPECT_EQ(spread_text(many), "41 of 96 segments, 9 under way on n1, n2 and 4 more");
  EXPECT_EQ(spread_text(waiting), "0 of 96 segments, 0 under way");
  for (const job_spread& spread : {one, many, waiting}) {
    const std::string text = spread_text(spread);
    const auto found =
        spread_in(opening + time_of_note + cluster_note + ": " + text + "\n", begin + 20);
    ASSERT_TRUE(found) << text;
    EXPECT_EQ(spread_text(*found), text);
  }
}

TEST(job_spread, names_eight_nodes_and_counts_the_others) {
  std::set<std::string> nodes = {"n1", "n2", "n3", "n4", "n5", "n6", "n7", "n8"};
  job_spread spread = {41, 96, 9, {"n0"}, 7};
  set_nodes(spread, nodes);
  EXPECT_EQ(spread_text(spread),
            "41 of 96 segments, 9 under way on n1, n2, n3, n4, n5, n6, n7, n8");
  nodes.insert("n9");
  set_nodes(spread, nodes);
  EXPECT_EQ(spread_text(spread),
            "41 of 96 segments, 9 under way on n1, n2, n3, n4, n5, n6, n7, n8 and 1 more");
}

TEST(job_spread, is_forgotten_when_the_job_goes_on_here) {
  EXPECT_TRUE(is_spread(opening + note));
  EXPECT_FALSE(is_spread(opening + note + ended));
  EXPECT_TRUE(is_spread(opening + note + ended + note));
}

TEST(job_spread, of_an_earlier_run_does_not_count) {
  EXPECT_FALSE(is_spread(opening + note + closing));
  EXPECT_FALSE(is_spread(opening + note + opening)) << "the first one was killed";
}

TEST(job_spread, of_a_tool_that_writes_no_more_does_not_count) {
  EXPECT_TRUE(is_spread(opening + note, begin + 15 + 4 * spread_note_s));
  EXPECT_FALSE(is_spread(opening + note, begin + 16 + 4 * spread_note_s));
  EXPECT_FALSE(is_spread(opening + note, begin - 4 * spread_note_s)) << "it is yet to come";
}

TEST(job_spread, needs_the_note_of_the_tool_itself) {
  EXPECT_FALSE(is_spread(opening + time_of_note + "engine: 4 of 9 segments, 2 under way on n1\n"));
  EXPECT_FALSE(
      is_spread(opening + time_of_note + "engine: cluster: 4 of 9 segments, 2 under way on n1\n"));
  EXPECT_FALSE(is_spread(opening + "then cluster: 4 of 9 segments, 2 under way on n1\n"));
}

TEST(job_spread, ignores_notes_of_any_other_form) {
  const std::string end = " segments, 2 under way on n1";
  for (const std::string& text :
       {"10 of 9" + end, "-1 of 9" + end, "4 of 1000001" + end, "4 of 99999999999999999999" + end,
        "four of 9" + end, "4 of 9" + end + ",", "4 of 9" + end + ", \x1b[31mn2",
        "4 of 9" + end + ", <b>", "4 of 9" + end + " n2", "4 of 9" + end + " and -1 more",
        "4 of 9" + end + " and 1 more of them", "4 of 9" + end + std::string(64, '1'),
        "4 of 9" + end + ", n2, n3, n4, n5, n6, n7, n8, n9",
        std::string("4 of 9 segments, 2 under way on "), std::string("4 of 9 segments"),
        std::string()}) {
    EXPECT_FALSE(is_spread(opening + time_of_note + "cluster: " + text + "\n")) << text;
  }
}

TEST(job_spread, is_found_in_the_log_of_the_output) {
  const qx_test::scratch_folder folder;
  fs::create_directory(folder.file(".film.mp4.metadata"));
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  std::ofstream(folder.file(".film.mp4.metadata/vod.log"))
      << opening << log_time(now) << " cluster: 41 of 96 segments, 9 under way on n1\n";
  EXPECT_TRUE(find_spread(folder.file("film.mp4")));
  EXPECT_FALSE(find_spread(folder.file("other.mp4")));
  EXPECT_FALSE(find_spread(""));
}
