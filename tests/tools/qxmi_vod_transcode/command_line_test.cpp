// The transcoder's command line and its listing, by running the tool.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/test_media.h"
#include "tests/support/media/tool_run.h"

using namespace qx_test;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

const std::string tool = "qxmi_vod_transcode";

void expect_usage(const std::vector<std::string>& arguments, const std::string& cause) {
  const tool_result result = run_tool(tool, arguments);
  EXPECT_EQ(result.end.status, 2);
  EXPECT_TRUE(result.output.empty());
  EXPECT_THAT(result.errors, ElementsAre(HasSubstr(cause)));
}

}  // namespace

TEST(transcode_options, wrong_ones_are_one_line_and_status_2) {
  expect_usage({"--bogus"}, "--bogus");
  expect_usage({"--file"}, "--file");
  expect_usage({"--quote"}, "--file");
  expect_usage({"--file", "a", "--quote", "--height", "tall"}, "--height");
  expect_usage({"--file", "a", "--height", "720", "--profile", "720", "-o", "b"}, "--quote");
  expect_usage({"--file", "a", "--profile", "720"}, "-o");
  expect_usage({"--file", "a", "-o", "b"}, "profile");
  expect_usage({"--file", "a", "-o", "b", "--profile", "720p"}, "720p");
  expect_usage({"--file", "a", "-o", "b", "--profile", "720", "-f", "mkv"}, "-f");
  expect_usage({"--file", "a", "-o", "b", "--profile", "720", "-d", "8"}, "-d");
  expect_usage({"--file", "a", "-o", "b", "--profile", "720", "--cpu-cap", "101"}, "--cpu-cap");
  expect_usage({"--file", "a", "-o", "b", "--profile", "720", "--max-threads", "0"},
               "--max-threads");
}

TEST(transcode_options, a_line_feed_in_an_option_stays_on_one_line) {
  expect_usage({"--bo\ngus"}, "--bo\\ngus");
}

TEST(transcode_options, help_and_version_succeed) {
  const tool_result help = run_tool(tool, {"--help"});
  EXPECT_EQ(help.end.status, 0);
  EXPECT_THAT(help.output, testing::Contains(HasSubstr("--cpu-cap")));
  const tool_result version = run_tool(tool, {"--version"});
  EXPECT_EQ(version.end.status, 0);
  EXPECT_THAT(version.output, ElementsAre(HasSubstr(tool + " ")));
}

TEST(transcode_options, engine_prints_the_files_that_nodes_must_have) {
  const tool_result result = run_tool(tool, {"--engine"});
  EXPECT_EQ(result.end.status, 0);
  EXPECT_THAT(result.output, testing::Contains(testing::StartsWith("engine=/usr/bin/ffmpeg ")));
  EXPECT_THAT(result.output, testing::Contains(HasSubstr("/libx264.so.")));
}

TEST(transcode_quote, lists_the_profiles_of_a_broadcast_recording) {
  const tool_result result = run_tool(tool, {"--file", test_media("interlaced.ts"), "--quote"});
  EXPECT_EQ(result.end.status, 0);
  EXPECT_TRUE(result.errors.empty());
  EXPECT_THAT(result.output,
              ElementsAre("*SOURCE",
                          testing::StartsWith("video 1920x1080 25.000 fps interlaced mpeg2video, "
                                              "audio 2ch mp2, 3.0"),
                          "*QUOTE", ".. 1080", ".. 720", ".. 576", ".. 480", ".. 360", ".. 240"));
}

TEST(transcode_quote, respects_the_maximum_height) {
  const tool_result result =
      run_tool(tool, {"--file", test_media("interlaced.ts"), "--quote", "--height", "480"});
  EXPECT_THAT(result.output,
              ElementsAre("*SOURCE", testing::_, "*QUOTE", ".. 480", ".. 360", ".. 240"));
}

TEST(transcode_quote, accepts_any_height_that_the_service_may_be_configured_with) {
  const tool_result result =
      run_tool(tool, {"--file", test_media("interlaced.ts"), "--quote", "--height", "2147483647"});
  EXPECT_THAT(result.output, testing::Contains(".. 1080"));
}

TEST(transcode_quote, uses_the_displayed_size_of_a_rotated_video) {
  const tool_result result = run_tool(tool, {"--file", test_media("rotated.mp4"), "--quote"});
  EXPECT_THAT(result.output,
              ElementsAre("*SOURCE", testing::StartsWith("video 180x320 "), "*QUOTE", ".. 240"));
}

TEST(transcode_quote, audio_alone_has_the_audio_profile) {
  for (const char* name : {"tone.mp3", "tone.wav", "tone.m4a", "tone.aac", "covered.mp3"}) {
    const tool_result result = run_tool(tool, {"--file", test_media(name), "--quote"});
    EXPECT_THAT(result.output,
                ElementsAre("*SOURCE", testing::StartsWith("audio "), "*QUOTE", ".. audio"))
        << name;
  }
}
