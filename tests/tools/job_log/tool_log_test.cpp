// The contents of a job's log after runs of the built tools, and its place.
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/made_media.h"
#include "tests/support/media/test_media.h"
#include "tests/support/media/tool_run.h"
#include "tools/job_log/job_log_file.h"
#include "tools/job_log/job_reason.h"

using namespace qx_test;
using testing::AllOf;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Optional;

namespace {

const std::string transcoder = "qxmi_vod_transcode";

class tool_log_test : public testing::Test {
protected:
  void make_metadata_of(const std::string& media) const {
    ASSERT_EQ(mkdir(metadata_folder_of(media).c_str(), 0700), 0);
  }

  int transcode(const std::string& source, const std::string& profile) const {
    return run_tool(transcoder, {"-d", "0", "--cpu-cap", "0", "--profile", profile, "-f", "mp4",
                                 "-o", output, "--file", source})
        .end.status;
  }

  scratch_folder folder;
  std::string output = folder.file("out.mp4");
};

}  // namespace

TEST_F(tool_log_test, a_transcode_logs_commands_versions_and_lengths) {
  make_metadata_of(output);
  ASSERT_EQ(transcode(test_media("silent.mp4"), "180"), 0);
  EXPECT_THAT(read_job_log(output),
              AllOf(HasSubstr("command: "), HasSubstr("run: /usr/bin/ffprobe "),
                    ContainsRegex("engine version: [^\n]+\n"), HasSubstr("run: /usr/bin/ffmpeg "),
                    ContainsRegex("length: stream 0, h264 [0-9]+x[0-9]+, declared: [0-9.]+ s\n"),
                    HasSubstr(" qxmi_vod_transcode done\n")));
}

TEST_F(tool_log_test, a_transcode_by_hand_leaves_no_log_next_to_its_output) {
  ASSERT_EQ(transcode(test_media("silent.mp4"), "180"), 0);
  EXPECT_THAT(folder.names(), ElementsAre("out.mp4"));
}

TEST_F(tool_log_test, a_failed_transcode_logs_the_reason_next_to_its_output) {
  make_metadata_of(output);
  ASSERT_EQ(transcode(test_media("text.mp4"), "240"), 1);
  EXPECT_EQ(why_it_failed({"Transcoding failed", "", output}),
            "source-damaged: Invalid data found when processing input");
  EXPECT_THAT(read_job_log(output), HasSubstr("engine: "));
}

TEST_F(tool_log_test, a_missing_source_is_logged) {
  make_metadata_of(output);
  ASSERT_EQ(transcode("/nowhere/film.mp4", "240"), 1);
  EXPECT_EQ(why_it_failed({"Transcoding failed", "", output}),
            "source-missing: No such file or directory");
}

TEST_F(tool_log_test, an_impossible_profile_is_logged) {
  make_metadata_of(output);
  ASSERT_EQ(transcode(test_media("silent.mp4"), "../../x"), 2);
  EXPECT_EQ(why_it_failed({"Transcoding failed", "", output}),
            "no-such-profile: no such profile: \"../../x\"");
}

TEST_F(tool_log_test, a_cancelled_transcode_has_not_failed) {
  make_metadata_of(output);
  tool_run run(transcoder, {"--profile", "180", "-o", output, "--file", test_media("long.mp4")});
  ASSERT_GT(run.engine(), 0);
  run.signal_group(SIGTERM);
  run.wait();
  EXPECT_THAT(read_job_log(output), HasSubstr("qxmi_vod_transcode stopped by Terminated\n"));
  EXPECT_EQ(why_it_failed({"Transcoding failed", "", output}), "");
}

TEST_F(tool_log_test, a_killed_transcode_is_recognised) {
  make_metadata_of(output);
  tool_run run(transcoder, {"--profile", "180", "-o", output, "--file", test_media("long.mp4")});
  ASSERT_GT(run.engine(), 0);
  run.signal_group(SIGKILL);
  run.wait();
  EXPECT_THAT(why_it_failed({"Transcoding failed", "", output}),
              testing::StartsWith("tool-killed: "));
}

TEST_F(tool_log_test, a_failed_listing_logs_the_reason_next_to_the_source) {
  const std::string source = copy_to(folder.file("film.mp4"), test_media("text.mp4"));
  make_metadata_of(source);
  ASSERT_EQ(run_tool(transcoder, {"--file", source, "--quote"}).end.status, 1);
  EXPECT_EQ(
      why_it_failed({"Rejected: Unable to determine appropriate transcoding profiles", source, ""}),
      "source-damaged: Invalid data found when processing input");
}

TEST_F(tool_log_test, a_listing_by_hand_leaves_no_log_next_to_the_source) {
  const std::string source = copy_to(folder.file("film.mp4"), test_media("silent.mp4"));
  ASSERT_EQ(run_tool(transcoder, {"--file", source, "--quote"}).end.status, 0);
  EXPECT_THAT(folder.names(), ElementsAre("film.mp4"));
}

TEST_F(tool_log_test, a_failed_identification_logs_the_reason_even_without_metadata) {
  const std::string source = folder.file("film.mp4");
  ASSERT_EQ(mkfifo(source.c_str(), 0600), 0);
  ASSERT_EQ(
      run_tool("qxmi_startitem", {"--daemon", "--identify", "--create-meta", "--file", source})
          .end.status,
      1);
  EXPECT_EQ(why_it_failed({"Rejected: Unable to create metadata or identify item", source, ""}),
            "not-media: is not a regular file");
}

TEST_F(tool_log_test, identifying_a_missing_file_leaves_no_log) {
  const std::string source = folder.file("film.mp4");
  run_tool("qxmi_startitem", {"--identify", "--create-meta", "--file", source});
  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(tool_log_test, identifying_a_file_on_the_screen_leaves_no_log) {
  const std::string source = copy_to(folder.file("film.mp4"), test_media("silent.mp4"));
  ASSERT_EQ(run_tool("qxmi_startitem", {"--identify", "--file", source}).end.status, 0);
  EXPECT_THAT(folder.names(), ElementsAre("film.mp4"));
}

TEST_F(tool_log_test, a_thumbnail_is_logged_with_its_video) {
  make_metadata_of(output);
  run_tool("qxmi_grab",
           {"--jpeg", "--height", "240", "-o", metadata_folder_of(output) + "/vod.thumbnail.jpg",
            "--file", test_media("text.mp4"), "--no-uid"});
  EXPECT_THAT(last_failure(read_job_log(output), "qxmi_grab"),
              Optional(testing::StartsWith("source-damaged: ")));
}

TEST_F(tool_log_test, a_log_that_cannot_be_written_is_not_a_failure) {
  make_metadata_of(output);
  ASSERT_EQ(mkdir((metadata_folder_of(output) + "/vod.log").c_str(), 0700), 0);
  EXPECT_EQ(transcode(test_media("silent.mp4"), "180"), 0);
}
