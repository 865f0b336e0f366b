// Signals and deaths while finished segments are joined, looked at and get their name: the engine
// waits before it begins, or the tool dies right before a certain step.
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/checkpoint/power_cut.h"
#include "tests/support/checkpoint/stepped_tool.h"
#include "tests/support/wait_until.h"
#include "tests/tools/qxmi_vod_transcode/checkpoint_bench.h"

using namespace qx_test;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

constexpr std::size_t all_segments = 6;
constexpr long all_frames = 300;

// Arguments that only one kind of engine has.
constexpr const char* of_join = "concat";
constexpr const char* of_decoding = "-xerror";
constexpr const char* of_reading = "-show_entries";

class checkpoint_join : public checkpoint_bench {
protected:
  // Nothing is made again but the join.
  void expect_only_joined(const tool_result& result) const {
    EXPECT_EQ(first_frame(result), all_frames);
    expect_resumed(result, static_cast<long>(all_segments));
    expect_whole(result);
  }
  // Kills the engine with that argument; the tool ends with status 1.
  void kill_engine(const std::string& argument) {
    tool.hold(argument);
    tool_run run = tool.start(arguments());
    ASSERT_EQ(kill(tool.held(), SIGKILL), 0);
    tool.release();
    EXPECT_EQ(run.wait().status, 1);
    EXPECT_FALSE(fs::exists(output));
  }

  // Kills the tool and its engine while they join the segments.
  void kill_in_join() {
    tool.hold(of_join);
    tool_run run = tool.start(arguments());
    ASSERT_GT(tool.held(), 0);
    run.signal_group(SIGKILL);
    run.wait();
  }

  // The number of steps of an undisturbed transcode, whose result is removed.
  long count_steps() {
    tool_run run = tool.start(arguments());
    EXPECT_EQ(run.wait().status, 0);
    fs::remove(output);
    const long steps = tool.steps();
    tool.reset();
    return steps;
  }

  // Kills the tool and its engine right before that step, with a journal of what is on the disk.
  void kill_before(long step, power_cut& disk) {
    disk.settle();
    tool.arm(step, step_action::kill_group);
    tool.keep_journal(disk.journal(), disk.next_entry());
    tool_run run = tool.start(arguments());
    EXPECT_EQ(run.wait().signal, SIGKILL);
  }

  stepped_tool tool;
};

// Of the records, the segments, their total, the note and the result itself. The tests share them.
class checkpoint_name : public checkpoint_join, public testing::WithParamInterface<long> {
protected:
  static constexpr long tests = 3;
  static constexpr long fewest_names = 10;

  // In three segments, of which the first run has made at least one.
  void SetUp() override {
    configure("checkpoint=yes\ncheckpoint.segment_seconds=4\ncheckpoint.min_seconds=6\n");
    interrupt_after(1, SIGKILL);
    left_ = segment_folder();
    fs::copy(left_, kept_, fs::copy_options::recursive);
  }

  // Whether there was such a name.
  bool kill_before_name(long number) {
    fs::remove_all(left_);
    fs::remove(output);
    fs::copy(kept_, left_, fs::copy_options::recursive);
    tool.reset();
    tool.arm_name(number, step_action::kill_group);
    tool_run run = tool.start(arguments());
    const bool killed = run.wait().signal == SIGKILL;
    EXPECT_EQ(killed, tool.has_happened());
    return killed;
  }

private:
  std::string left_;
  std::string kept_ = settings.file("kept");
};

INSTANTIATE_TEST_SUITE_P(each_third, checkpoint_name, testing::Values(1L, 2L, 3L));

}  // namespace

TEST_F(checkpoint_join, is_paused_and_goes_on) {
  tool.hold(of_join);
  tool_run run = tool.start(arguments());
  const pid_t engine = tool.held();
  run.signal_group(SIGUSR1);
  EXPECT_TRUE(wait_until([&] { return process_state(engine) == 'T'; }));
  tool.release();
  EXPECT_FALSE(wait_until([&] { return fs::exists(output); }, 500ms));
  run.signal_group(SIGUSR2);
  const tool_end end = run.wait();
  expect_whole({end, run.output_lines(), run.error_lines()});
}

TEST_F(checkpoint_join, is_terminated_without_waiting_for_its_engine) {
  tool.hold(of_join);
  tool_run run = tool.start(arguments());
  const pid_t engine = tool.held();
  run.signal_group(SIGTERM);
  EXPECT_EQ(run.wait().signal, SIGTERM);
  EXPECT_TRUE(wait_until([&] { return process_state(engine) == '\0'; }));
  EXPECT_THAT(folder.names(), ElementsAre(HasSubstr(".qx-segments-")));
  expect_only_joined(resume());
}

TEST_F(checkpoint_join, is_terminated_while_it_is_paused) {
  tool.hold(of_join);
  tool_run run = tool.start(arguments());
  const pid_t engine = tool.held();
  run.signal_group(SIGUSR1);
  ASSERT_TRUE(wait_until([&] { return process_state(engine) == 'T'; }));
  run.signal_group(SIGTERM);
  EXPECT_EQ(run.wait().signal, SIGTERM);
  expect_only_joined(resume());
}

TEST_F(checkpoint_join, has_both_ends_decoded_at_the_same_time) {
  tool.hold(of_decoding);
  tool_run run = tool.start(arguments());
  EXPECT_TRUE(wait_until([&] { return children_of(run.pid()).size() == 2; }));
  tool.release();
  EXPECT_EQ(run.wait().status, 0);
}

TEST_F(checkpoint_join, has_streams_and_packets_read_at_the_same_time) {
  tool.hold(of_reading, 2);  // after the two looks at the source
  tool_run run = tool.start(arguments());
  EXPECT_TRUE(wait_until([&] { return children_of(run.pid()).size() == 2; }));
  tool.release();
  EXPECT_EQ(run.wait().status, 0);
}

TEST_F(checkpoint_join, of_a_source_that_has_changed_fails_and_leaves_nothing) {
  tool.hold(of_join);
  tool_run run = tool.start(arguments());
  ASSERT_GT(tool.held(), 0);
  std::ofstream(source, std::ios::app) << "more";
  tool.release();
  EXPECT_EQ(run.wait().status, 1);
  EXPECT_THAT(run.error_lines(), ElementsAre(HasSubstr("film.mkv: changed while it was read")));
  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(checkpoint_join, is_repeated_after_a_kill) {
  kill_in_join();
  EXPECT_EQ(finished(), all_segments);
  expect_only_joined(resume());
}

TEST_F(checkpoint_join, is_repeated_after_its_engine_was_killed) {
  kill_engine(of_join);
  expect_only_joined(resume());
}

TEST_F(checkpoint_join, is_repeated_after_the_engine_that_decodes_it_was_killed) {
  kill_engine(of_decoding);
  expect_only_joined(resume());
}

TEST_F(checkpoint_join, with_a_count_of_segments_that_is_cut_off_is_repeated) {
  kill_in_join();
  fs::resize_file(in_folder("complete"), 20);
  expect_whole(resume());
}

TEST_F(checkpoint_join, with_a_changed_count_of_segments_is_repeated) {
  kill_in_join();
  overwrite(in_folder("complete"), 17, "5");
  expect_whole(resume());
}

TEST_P(checkpoint_name, of_a_resumed_transcode_may_be_preceded_by_a_kill) {
  long number = GetParam();
  for (; kill_before_name(number); number += tests) {
    SCOPED_TRACE("name " + std::to_string(number));
    const tool_result result = resume();
    ASSERT_EQ(result.errors.size(), 1U);
    EXPECT_THAT(result.errors[0], HasSubstr(": resumed at "));
    expect_whole(result);
  }
  EXPECT_GT(number, fewest_names);
}

// But for the one whose name was just being flushed.
TEST_F(checkpoint_join, finished_segments_outlive_a_power_cut) {
  const long steps = count_steps();
  power_cut disk(folder.path());
  kill_before(steps / 2, disk);
  const std::size_t before = finished();
  ASSERT_GE(before, 2U);
  disk.cut(true, [](unsigned) { return 0U; });
  EXPECT_GE(finished() + 1, before);
  const tool_result result = resume();
  expect_resumed(result, static_cast<long>(before) - 1);
  expect_whole(result);
}

TEST_F(checkpoint_join, a_result_outlives_a_power_cut_before_its_segments_go) {
  const long steps = count_steps();
  power_cut disk(folder.path());
  kill_before(steps, disk);
  disk.cut(true, [](unsigned) { return 0U; });
  EXPECT_TRUE(fs::exists(output));
  expect_as_in_one_piece();
}
