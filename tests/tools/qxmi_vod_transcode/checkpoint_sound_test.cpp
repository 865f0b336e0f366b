// Transcodes of recordings whose sound changes its form, disturbed before and after such a place.
// The engine sets up its filters once more there, and the time stamps jump, which segments of bare
// packets cannot show.
#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/tools/qxmi_vod_transcode/checkpoint_bench.h"
#include "tools/qxmi_vod_transcode/content_sum.h"

using namespace qx_test;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

namespace fs = std::filesystem;

constexpr const char* in_short_segments =
    "checkpoint.segment_seconds=2\ncheckpoint.min_seconds=6\n";
constexpr const char* whole_sound = "s000000.m4a";

class checkpoint_of_changing_sound : public checkpoint_bench {
protected:
  checkpoint_of_changing_sound() { fs::create_directory(metadata_); }

  void use_mono_then_stereo() { use_pieces({{10.0, 1}, {10.0, 2}}); }

  void expect_made_in_segments(const tool_result& result) const {
    EXPECT_EQ(result.end.status, 0);
    EXPECT_EQ(segment_folder(), "");
    EXPECT_EQ(times_in_log("its sound changes its form: it is made as a whole"), 1);
    expect_same_sound_as_in_one_piece();
  }

  void expect_resumed_in_segments() const {
    const tool_result result = resume();
    EXPECT_THAT(result.errors, ElementsAre(HasSubstr(": resumed at ")));
    expect_made_in_segments(result);
  }

  // How often an engine began to make it; one joined it with the pictures.
  int times_begun() const { return times_in_log(std::string("/") + whole_sound) - 1; }

  int times_in_log(const std::string& words) const {
    std::ifstream file(metadata_ + "/vod.log");
    const std::string log{std::istreambuf_iterator<char>(file), {}};
    int count = 0;
    for (std::size_t at = log.find(words); at != std::string::npos; at = log.find(words, at + 1)) {
      ++count;
    }
    return count;
  }

private:
  const std::string metadata_ = folder.file(".out.mp4.metadata");
};

}  // namespace

TEST_F(checkpoint_of_changing_sound, has_the_packets_of_one_piece) {
  use_mono_then_stereo();
  const tool_result result = resume();
  EXPECT_THAT(result.errors, IsEmpty());
  expect_made_in_segments(result);
  EXPECT_EQ(times_begun(), 1);
}

TEST_F(checkpoint_of_changing_sound, is_resumed_before_the_change) {
  use_mono_then_stereo();
  interrupt_with(2);
  expect_resumed_in_segments();
}

TEST_F(checkpoint_of_changing_sound, is_resumed_after_the_change) {
  use_mono_then_stereo();
  interrupt_with(8);
  ASSERT_TRUE(fs::exists(in_folder(whole_sound)));
  expect_resumed_in_segments();
  EXPECT_EQ(times_begun(), 1);
}

TEST_F(checkpoint_of_changing_sound, is_resumed_between_many_changes) {
  use_pieces({{3.0, 2}, {4.0, 6}, {3.0, 2}, {2.0, 1}, {3.0, 2}, {5.0, 6}});
  interrupt_with(4);
  expect_resumed_in_segments();
}

// Before there is a segment of pictures.
TEST_F(checkpoint_of_changing_sound, may_change_in_its_first_segment) {
  use_pieces({{0.6, 1}, {9.4, 2}});
  expect_made_in_segments(resume());
  EXPECT_EQ(times_begun(), 1);
}

// Five files of 93 packets.
TEST_F(checkpoint_of_changing_sound, may_change_where_a_segment_ends) {
  use_pieces({{9.92, 6}, {8.0, 2}});
  interrupt_with(3);
  expect_resumed_in_segments();
}

TEST_F(checkpoint_of_changing_sound, may_change_in_its_last_segment) {
  use_pieces({{11.0, 2}, {0.8, 1}});
  interrupt_with(3);
  expect_resumed_in_segments();
}

TEST_F(checkpoint_of_changing_sound, is_made_again_after_a_kill_but_the_pictures_are_not) {
  use_mono_then_stereo();
  {
    tool_run run("qxmi_vod_transcode", arguments());
    ASSERT_GT(caught_engine(run, whole_sound), 0);
    run.signal_group(SIGKILL);
    ASSERT_EQ(run.wait().signal, SIGKILL);
  }
  ASSERT_FALSE(fs::exists(in_folder(whole_sound)));
  const std::size_t pictures = finished();
  ASSERT_GE(pictures, 1U);
  const tool_result result = resume();
  expect_resumed(result, static_cast<long>(pictures));
  expect_made_in_segments(result);
  EXPECT_EQ(times_begun(), 2);
}

TEST_F(checkpoint_of_changing_sound, that_is_damaged_is_made_again) {
  use_mono_then_stereo();
  interrupt_with(8);
  overwrite(in_folder(whole_sound), 5000, "damage");
  expect_resumed_in_segments();
  EXPECT_EQ(times_begun(), 2);
}

TEST_F(checkpoint_of_changing_sound, is_made_beside_several_runs_of_pictures) {
  configure(std::string(in_short_segments) + "checkpoint.runs=2\n");
  use_mono_then_stereo();
  const tool_result result = resume();
  EXPECT_THAT(result.errors, IsEmpty());
  expect_made_in_segments(result);
}

// There, no run can continue another.
TEST_F(checkpoint_of_changing_sound, on_a_clock_that_jumps_is_made_in_one_piece) {
  use_mono_then_stereo();
  interrupt_with(1);
  std::ofstream(in_folder("clock")) << sealed("jumps");
  const tool_result result = resume();
  EXPECT_EQ(result.end.status, 0);
  EXPECT_THAT(result.errors,
              Contains(EndsWith(": starts over in one piece: its sound changes its form, "
                                "and its clock jumps")));
  EXPECT_EQ(segment_folder(), "");
  expect_same_sound_as_in_one_piece();
}
