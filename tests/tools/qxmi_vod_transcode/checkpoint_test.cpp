// Transcodes that are interrupted, and what the next run of the tool makes of them.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/checkpoint/segment_files.h"
#include "tests/support/media/made_media.h"
#include "tests/support/wait_until.h"
#include "tests/tools/qxmi_vod_transcode/checkpoint_bench.h"
#include "tools/job_log/job_resumption.h"
#include "tools/qxmi_vod_transcode/content_sum.h"

using namespace qx_test;
using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

namespace fs = std::filesystem;

const std::string in_short_segments =
    "checkpoint=yes\ncheckpoint.segment_seconds=2\ncheckpoint.min_seconds=6\n";

class checkpoint : public checkpoint_bench {
protected:
  void several_at_once() const { configure(in_short_segments + "checkpoint.runs=2\n"); }

  // The engines of the tool that make segments just now.
  static std::vector<pid_t> engines_of(pid_t tool) {
    std::vector<pid_t> engines;
    for (const pid_t child : children_of(tool)) {
      if (command_line_of(child).find("-f segment") != std::string::npos) {
        engines.push_back(child);
      }
    }
    return engines;
  }

  // Whether each is in one of these states.
  static bool are_all(const std::vector<pid_t>& processes, const std::string& states) {
    return std::all_of(processes.begin(), processes.end(), [&](pid_t process) {
      return states.find(process_state(process)) != std::string::npos;
    });
  }

  // Its pictures have few key frames, its clock begins anywhere, and a seek in it is inexact.
  void use_recording() {
    source =
        make_media(settings, "film.ts",
                   "-f lavfi -i testsrc2=s=128x72:r=25:d=12 -f lavfi -i "
                   "aevalsrc=0.3*sin(500*t*t):s=48000:d=12 -c:v libx264 -preset ultrafast -g 120 "
                   "-sc_threshold 0 -bf 2 -pix_fmt yuv420p -c:a mp2 -ac 2 -output_ts_offset 1000");
  }
};

// Of an engine that reads all packets of a file.
const std::string list_of_packets = "packet=stream_index,pts_time";

void zero_middle(const std::string& path) {
  const auto size = static_cast<std::streamoff>(fs::file_size(path));
  overwrite(path, size / 2, std::string(64, '\0'));
}

}  // namespace

TEST_F(checkpoint, an_undisturbed_transcode_gives_what_one_in_one_piece_gives) {
  const tool_result result = resume();
  EXPECT_THAT(result.errors, IsEmpty());
  expect_whole(result);
  expect_as_in_one_piece();
}

TEST_F(checkpoint, a_killed_transcode_goes_on_where_it_was) {
  interrupt_after(2, SIGKILL);
  const tool_result result = resume();
  expect_resumed(result, 2);
  expect_whole(result);
  expect_as_in_one_piece();
}

TEST_F(checkpoint, a_resumed_transcode_says_in_its_log_where_it_was) {
  fs::create_directory(folder.file(".out.mp4.metadata"));
  interrupt_after(2, SIGKILL);
  tool_run run("qxmi_vod_transcode", slowly());
  ASSERT_TRUE(wait_until([&] { return find_resumption(output).has_value(); }));
  EXPECT_GE(find_resumption(output)->percent, 33);
  run.signal_group(SIGTERM);
  run.wait();
  EXPECT_FALSE(find_resumption(output)) << "it has ended";
}

TEST_F(checkpoint, a_killed_transcode_of_a_recording_goes_on_where_it_was) {
  use_recording();
  interrupt_after(3, SIGKILL);
  const tool_result result = resume();
  expect_resumed(result, 3);
  EXPECT_EQ(result.end.status, 0);
  expect_as_in_one_piece();
}

TEST_F(checkpoint, a_transcode_may_be_killed_many_times) {
  for (const std::size_t segments : {1U, 2U, 4U}) {
    interrupt_after(segments, SIGKILL);
  }
  const tool_result result = resume();
  expect_resumed(result, 4);
  expect_whole(result);
}

TEST_F(checkpoint, a_terminated_transcode_leaves_only_hidden_segments) {
  interrupt_after(1, SIGTERM);
  EXPECT_EQ(folder.file(folder.names().front()), segment_folder());
  EXPECT_EQ(folder.names().size(), 1U);
  const tool_result result = resume();
  expect_resumed(result, 1);
  expect_whole(result);
}

TEST_F(checkpoint, a_transcode_terminated_before_its_first_segment_leaves_nothing) {
  tool_run run("qxmi_vod_transcode", slowly());
  ASSERT_TRUE(wait_until([&] { return !segment_folder().empty(); }));
  run.signal_group(SIGTERM);
  EXPECT_EQ(run.wait().signal, SIGTERM);
  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(checkpoint, a_killed_engine_fails_the_job_but_not_its_segments) {
  tool_run run("qxmi_vod_transcode", slowly());
  ASSERT_TRUE(wait_until([&] { return finished() >= 2; }));
  ASSERT_EQ(kill(run.engine(), SIGKILL), 0);
  EXPECT_EQ(run.wait().status, 1);
  const tool_result result = resume();
  expect_resumed(result, 2);
  expect_whole(result);
}

TEST_F(checkpoint, a_transcode_killed_in_the_join_only_joins_again) {
  tool_run run("qxmi_vod_transcode", arguments());
  ASSERT_TRUE(wait_until([&] { return fs::exists(in_folder("complete")); }));
  run.signal_group(SIGKILL);
  run.wait();
  if (!fs::exists(output)) {
    const tool_result result = resume();
    expect_resumed(result, 6);
    expect_whole(result);
  }
}

TEST_F(checkpoint, a_suspended_transcode_with_finished_segments_ends_at_once) {
  tool_run run("qxmi_vod_transcode", slowly());
  ASSERT_TRUE(wait_until([&] { return finished() >= 1; }));
  const pid_t engine = run.engine();
  run.signal_group(SIGUSR1);
  ASSERT_TRUE(wait_until([&] { return process_state(engine) == 'T'; }));
  run.signal_group(SIGTERM);
  EXPECT_EQ(run.wait().signal, SIGTERM);
  EXPECT_GE(finished(), 1U);
}

TEST_F(checkpoint, damaged_segments_are_made_again) {
  interrupt_after(3, SIGKILL);
  zero_middle(in_folder("v000001.mp4"));
  const tool_result result = resume();
  expect_resumed(result, 1);
  expect_whole(result);
}

TEST_F(checkpoint, damaged_sound_is_made_again) {
  interrupt_after(3, SIGKILL);
  fs::resize_file(in_folder("s000000.adts"), fs::file_size(in_folder("s000000.adts")) / 2);
  expect_whole(resume());
}

TEST_F(checkpoint, a_segment_of_another_transcode_is_noticed) {
  interrupt_after(3, SIGKILL);
  fs::copy_file(in_folder("v000000.mp4"), in_folder("v000001.mp4"),
                fs::copy_options::overwrite_existing);
  const tool_result result = resume();
  expect_resumed(result, 1);
  expect_whole(result);
}

// Both belong together and are intact.
TEST_F(checkpoint, a_segment_in_the_place_of_another_is_noticed) {
  interrupt_after(3, SIGKILL);
  copy_with_record(in_folder("v000000.mp4"), in_folder("v000001.mp4"));
  const tool_result result = resume();
  expect_resumed(result, 1);
  EXPECT_LT(first_frame(result), 150);
  expect_whole(result);
}

// No run can continue a segment after which other pictures are due than the source has.
TEST_F(checkpoint, segments_that_no_run_continues_are_made_again) {
  interrupt_after(2, SIGKILL);
  for (std::size_t segment = 0; segment < finished(); ++segment) {
    const std::string path = record_of(in_folder("v00000" + std::to_string(segment) + ".mp4"));
    std::string line;
    std::getline(std::ifstream(path), line);
    const std::string record = unsealed(line + "\n");
    std::ofstream(path) << sealed(record.substr(0, record.rfind(' ') + 1) +
                                  "000000000000000000000000");
  }
  const tool_result result = resume();
  ASSERT_EQ(result.errors.size(), 2U);
  EXPECT_THAT(result.errors[1], HasSubstr("starts over: its parts do not fit together"));
  expect_whole(result);
}

// As many as a transcode may have that many nodes have made.
TEST_F(checkpoint, many_bad_seams_cost_only_the_segments_after_them) {
  interrupt_after(5, SIGKILL);
  for (const std::string segment : {"1", "2", "3", "4"}) {
    const std::string path = record_of(in_folder("v00000" + segment + ".mp4"));
    std::string line;
    std::getline(std::ifstream(path), line);
    std::istringstream words(unsealed(line + "\n"));
    std::string name, bytes, sum, run, first, next;
    ASSERT_TRUE(words >> name >> bytes >> sum >> run >> first >> next) << line;
    std::ofstream(path) << sealed(name + " " + bytes + " " + sum + " run" + segment +
                                  " 000000000000000000000000 " + next);
  }
  const tool_result result = resume();
  expect_resumed(result, 5);
  expect_whole(result);
  expect_as_in_one_piece();
}

TEST_F(checkpoint, a_transcode_terminated_while_it_looks_at_the_clock_keeps_its_segments) {
  use_recording();
  interrupt_after(3, SIGKILL);
  tool_run run("qxmi_vod_transcode", arguments());
  ASSERT_GT(caught_engine(run, list_of_packets), 0);
  run.signal_group(SIGTERM);
  EXPECT_EQ(run.wait().signal, SIGTERM);
  EXPECT_GE(finished(), 3U);
  expect_resumed(resume(), 3);
}

TEST_F(checkpoint, a_clock_that_could_not_be_looked_at_is_not_taken_for_one_that_jumps) {
  use_recording();
  interrupt_after(3, SIGKILL);
  expect_failure_without_engine(list_of_packets);
  EXPECT_GE(finished(), 3U);
  expect_resumed(resume(), 3);
}

TEST_F(checkpoint, the_clock_is_looked_at_once) {
  use_recording();
  interrupt_after(1, SIGKILL);
  interrupt_after(2, SIGKILL);
  std::string verdict;
  std::getline(std::ifstream(in_folder("clock")), verdict);
  EXPECT_EQ(unsealed(verdict + "\n"), "even");
  std::ofstream(in_folder("clock")) << sealed("jumps");
  EXPECT_THAT(resume().errors, Contains(HasSubstr("starts over: its clock jumps")));
}

TEST_F(checkpoint, an_engine_killed_in_the_join_loses_nothing) {
  expect_failure_without_engine("-format_whitelist concat,mov");
  expect_resumed(resume(), 6);
}

TEST_F(checkpoint, an_engine_killed_while_it_decodes_the_result_loses_nothing) {
  expect_failure_without_engine("-xerror");
  expect_resumed(resume(), 6);
}

TEST_F(checkpoint, a_probe_of_the_result_that_is_killed_loses_nothing) {
  expect_failure_without_engine(list_of_packets);
  const tool_result result = resume();
  expect_resumed(result, 6);
  expect_whole(result);
}

TEST_F(checkpoint, a_result_that_cannot_get_its_name_loses_nothing) {
  tool_run run("qxmi_vod_transcode", arguments());
  ASSERT_TRUE(wait_until([&] { return finished() >= 1; }));
  fs::create_directory(output);
  EXPECT_EQ(run.wait().status, 1);
  fs::remove(output);
  const tool_result result = resume();
  expect_resumed(result, 6);
  expect_whole(result);
}

TEST_F(checkpoint, a_crashed_engine_of_a_resumed_transcode_loses_nothing) {
  interrupt_after(2, SIGKILL);
  for (const int signal : {SIGSEGV, SIGTERM}) {
    tool_run run("qxmi_vod_transcode", slowly());
    ASSERT_EQ(kill(run.engine(), signal), 0);
    EXPECT_EQ(run.wait().status, 1);
    EXPECT_THAT(run.errors(), Not(HasSubstr("starts over")));
    EXPECT_GE(finished(), 2U);
  }
  expect_resumed(resume(), 2);
}

TEST_F(checkpoint, a_source_that_is_cut_off_is_not_made_twice) {
  fs::resize_file(source, fs::file_size(source) * 3 / 4);
  interrupt_after(2, SIGKILL);
  const tool_result result = resume();
  EXPECT_EQ(result.end.status, 1);
  ASSERT_EQ(result.errors.size(), 2U);
  EXPECT_THAT(result.errors[0], HasSubstr("resumed at"));
  EXPECT_THAT(result.errors[1], HasSubstr("ends after"));
}

TEST_F(checkpoint, a_source_that_has_gone_when_its_engine_fails_keeps_its_segments) {
  interrupt_after(2, SIGKILL);
  tool_run run("qxmi_vod_transcode", arguments());
  const pid_t engine = caught_engine(run, "-f segment");
  ASSERT_GT(engine, 0);
  fs::rename(source, source + ".away");
  std::ofstream(source + ".away") << "no film";
  kill(engine, SIGCONT);
  EXPECT_EQ(run.wait().status, 1);
  EXPECT_THAT(run.errors(), HasSubstr("Invalid data"));
  EXPECT_GE(finished(), 2U);
}

TEST_F(checkpoint, a_name_with_a_line_feed_stays_on_one_line) {
  const std::string named = settings.file("two\nlines.mkv");
  fs::rename(source, named);
  source = named;
  interrupt_after(1, SIGKILL);
  const tool_result result = resume();
  expect_resumed(result, 1);
  EXPECT_THAT(result.errors, ElementsAre(HasSubstr("two\\nlines.mkv: resumed at ")));
}

TEST_F(checkpoint, several_engines_give_what_one_piece_gives) {
  several_at_once();
  const tool_result result = resume();
  EXPECT_THAT(result.errors, IsEmpty());
  expect_whole(result);
  expect_as_in_one_piece();
}

TEST_F(checkpoint, several_engines_give_what_one_piece_gives_of_a_recording) {
  several_at_once();
  use_recording();
  const tool_result result = resume();
  EXPECT_THAT(result.errors, IsEmpty());
  EXPECT_EQ(result.end.status, 0);
  expect_as_in_one_piece();
}

TEST_F(checkpoint, segments_of_several_killed_engines_are_taken_over) {
  several_at_once();
  interrupt_after(3, SIGKILL);
  const tool_result result = resume();
  expect_resumed(result, 3);
  expect_whole(result);
  expect_as_in_one_piece();
}

TEST_F(checkpoint, segments_of_several_engines_are_taken_over_by_one) {
  several_at_once();
  interrupt_after(3, SIGTERM);
  configure(in_short_segments);
  const tool_result result = resume();
  expect_resumed(result, 3);
  expect_whole(result);
}

TEST_F(checkpoint, all_of_several_engines_stop_and_end_with_the_tool) {
  several_at_once();
  tool_run run("qxmi_vod_transcode", slowly());
  ASSERT_TRUE(wait_until([&] { return engines_of(run.pid()).size() == 2; }));
  run.signal_group(SIGUSR1);
  const std::vector<pid_t> engines = engines_of(run.pid());
  ASSERT_TRUE(wait_until([&] { return are_all(engines, "T"); }));
  run.signal_group(SIGTERM);
  EXPECT_EQ(run.wait().signal, SIGTERM);
  EXPECT_TRUE(wait_until([&] { return are_all(engines, std::string("Z\0", 2)); }));
}

TEST_F(checkpoint, one_killed_engine_of_several_ends_all_but_loses_nothing) {
  several_at_once();
  tool_run run("qxmi_vod_transcode", slowly());
  ASSERT_TRUE(wait_until([&] { return finished() >= 2; }));
  kill(engines_of(run.pid()).front(), SIGKILL);
  EXPECT_EQ(run.wait().status, 1);
  EXPECT_GE(finished(), 2U);
  expect_whole(resume());
}

TEST_F(checkpoint, a_short_source_needs_no_folder) {
  configure("checkpoint=yes\ncheckpoint.min_seconds=60\n");
  tool_run run("qxmi_vod_transcode", slowly());
  ASSERT_TRUE(wait_until([&] { return run.engine() > 0; }));
  EXPECT_EQ(segment_folder(), "");
}
