// The log that a tool keeps next to the media, written and read.
#include <cerrno>
#include <cstring>
#include <fstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/media/tool_run.h"
#include "tools/job_log/failure.h"
#include "tools/job_log/job_log.h"
#include "tools/job_log/job_log_file.h"
#include "tools/job_log/job_reason.h"
#include "tools/media/process_runner.h"

using namespace qx_test;
using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::Optional;

namespace {

const std::string tool = "qxmi_vod_transcode";

class job_log_test : public testing::Test {
protected:
  void make_folder() { ASSERT_EQ(mkdir(metadata.c_str(), 0700), 0); }

  void open_log() { open_job_log(tool, metadata, source, {2, argv}); }

  std::string text() const { return read_job_log(media); }

  scratch_folder folder;
  std::string media = folder.file("film.mp4");
  std::string metadata = folder.file(".film.mp4.metadata");
  std::string log_path = metadata + "/vod.log";
  std::string source = "/mnt/media/film.mpg";
  char program[20] = "/usr/bin/tool";
  char argument[20] = "a b";
  char* argv[2] = {program, argument};
};

}  // namespace

TEST_F(job_log_test, contains_the_tool_its_version_and_its_command_line) {
  make_folder();
  open_log();
  EXPECT_THAT(text(), ContainsRegex("^=== 20[0-9-]+T[0-9:.]+Z qxmi_vod_transcode [0-9.]+\n"
                                    "20[0-9-]+T[0-9:.]+Z command: /usr/bin/tool 'a b'\n$"));
}

TEST_F(job_log_test, is_not_created_without_a_metadata_folder) {
  open_log();
  close_job_log(0, 0);
  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(job_log_test, is_created_with_the_folder_if_the_tool_creates_that) {
  open_job_log_and_folder(tool, metadata, source, {1, argv});
  EXPECT_THAT(folder.names(), IsEmpty());
  close_job_log(1, 0);
  EXPECT_THAT(text(), AllOf(HasSubstr("command: /usr/bin/tool\n"), HasSubstr(" failed: ")));
}

TEST_F(job_log_test, a_stopped_tool_creates_no_folder_for_it) {
  open_job_log_and_folder(tool, metadata, source, {1, argv});
  close_job_log(1, SIGTERM);
  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(job_log_test, contains_commands_their_messages_and_how_they_ended) {
  make_folder();
  open_log();
  program_request request;
  request.argv = {"/bin/sh", "-c", "echo one >&2; printf two >&2; exit 3"};
  run_program(request);
  EXPECT_THAT(text(), ContainsRegex("run: /bin/sh -c 'echo one .*'\n"
                                    ".*Z engine: one\n.*Z engine: two\n"
                                    ".*Z end: exit status 3, after [0-9.]+ s\n$"));
}

TEST_F(job_log_test, reports_a_program_that_could_not_run) {
  make_folder();
  open_log();
  program_request request;
  request.argv = {"/no/engine"};
  run_program(request);
  EXPECT_THAT(text(), ContainsRegex("end: .*No such file or directory, after"));
}

TEST_F(job_log_test, ends_a_failed_run_with_a_code_and_a_sentence) {
  make_folder();
  open_log();
  log_failure(source, "ends after 31.20 s, its declared length is 61.40 s");
  close_job_log(1, 0);
  EXPECT_THAT(text(), ContainsRegex("\n--- 20[0-9-]+T[0-9:.]+Z qxmi_vod_transcode failed: "
                                    "source-damaged: ends after 31.20 s, its declared length is "
                                    "61.40 s\n$"));
}

TEST_F(job_log_test, names_another_file_that_failed) {
  make_folder();
  open_log();
  log_failure(media, std::strerror(ENOSPC));
  close_job_log(1, 0);
  EXPECT_THAT(text(), HasSubstr("failed: disk-full: film.mp4: No space left on device\n"));
}

TEST_F(job_log_test, uses_the_code_that_was_named) {
  make_folder();
  open_log();
  name_failure(failure::upload_failed);
  log_failure(source, "Permission denied");
  close_job_log(1, 0);
  EXPECT_THAT(text(), HasSubstr("failed: upload-failed: Permission denied\n"));
}

TEST_F(job_log_test, an_exit_status_without_a_cause_is_a_failure) {
  make_folder();
  open_log();
  close_job_log(1, 0);
  EXPECT_THAT(last_failure(text(), tool), Optional(HasSubstr("engine-failed: exit status 1")));
}

TEST_F(job_log_test, a_stopped_run_has_not_failed) {
  make_folder();
  open_log();
  log_failure(source, "stopped");
  close_job_log(1, SIGTERM);
  EXPECT_THAT(text(), HasSubstr("qxmi_vod_transcode stopped by Terminated\n"));
  EXPECT_EQ(last_failure(text(), tool), std::nullopt);
}

TEST_F(job_log_test, the_last_run_of_the_tool_counts) {
  make_folder();
  open_log();
  log_failure(source, "is empty");
  close_job_log(1, 0);
  EXPECT_THAT(last_failure(text(), tool), Optional(std::string("not-media: is empty")));
  open_log();
  close_job_log(0, 0);
  EXPECT_EQ(last_failure(text(), tool), std::nullopt);
}

TEST_F(job_log_test, the_end_of_another_tool_changes_nothing) {
  make_folder();
  open_log();
  log_failure(source, "is empty");
  close_job_log(1, 0);
  open_job_log("qxmi_grab", metadata, source, {1, argv});
  close_job_log(0, 0);
  EXPECT_THAT(last_failure(text(), tool), Optional(std::string("not-media: is empty")));
}

TEST_F(job_log_test, a_run_without_an_end_was_killed) {
  make_folder();
  open_log();
  EXPECT_THAT(last_failure(text(), tool), Optional(testing::StartsWith("tool-killed: ")));
}

TEST_F(job_log_test, a_run_in_progress_has_not_failed) {
  make_folder();
  open_log();
  EXPECT_EQ(why_it_failed({"Transcoding failed", source, media}), "");
  close_job_log(1, 0);
  EXPECT_THAT(why_it_failed({"Transcoding failed", source, media}), HasSubstr("exit status 1"));
}

TEST_F(job_log_test, a_run_in_progress_hides_no_earlier_failure) {
  make_folder();
  open_log();
  log_failure(source, "is empty");
  close_job_log(1, 0);
  open_log();
  EXPECT_EQ(why_it_failed({"Transcoding failed", source, media}), "not-media: is empty");
  close_job_log(0, 0);
  EXPECT_EQ(why_it_failed({"Transcoding failed", source, media}), "");
}

TEST_F(job_log_test, no_text_can_be_mistaken_for_an_end) {
  make_folder();
  open_log();
  log_failure(source, "is empty");
  close_job_log(1, 0);
  open_log();
  log_note("engine", "x\n--- now qxmi_vod_transcode done");
  log_program_errors("--- now qxmi_vod_transcode done\n");
  EXPECT_THAT(last_failure(text(), tool), Optional(testing::StartsWith("tool-killed: ")));
}

TEST_F(job_log_test, keeps_a_secret_out) {
  make_folder();
  hide_in_job_log("s3cret");
  open_log();
  log_program_errors("login with s3cret and s3cret refused\n");
  log_failure(source, "s3cret is wrong");
  close_job_log(1, 0);
  EXPECT_THAT(text(), AllOf(HasSubstr("login with *** and *** refused"), Not(HasSubstr("s3cret"))));
}

TEST_F(job_log_test, never_grows_beyond_its_limit_and_keeps_both_ends) {
  make_folder();
  open_log();
  const std::string noise(1000, 'x');
  for (int i = 0; i < 1000; ++i) {
    log_note("line", std::to_string(i) + noise);
  }
  close_job_log(0, 0);
  struct stat status = {};
  ASSERT_EQ(stat(log_path.c_str(), &status), 0);
  EXPECT_LE(static_cast<std::size_t>(status.st_size), job_log_limit);
  EXPECT_THAT(text(), AllOf(HasSubstr("command: /usr/bin/tool"), HasSubstr("line: 10x"),
                            HasSubstr(" cut: "), HasSubstr("line: 999x"),
                            HasSubstr("qxmi_vod_transcode done\n"), Not(HasSubstr("line: 500x"))));
}

TEST_F(job_log_test, a_line_is_bounded) {
  make_folder();
  open_log();
  log_note("line", std::string(100000, 'x'));
  EXPECT_LT(text().size(), 5000U);
}

TEST_F(job_log_test, follows_no_link) {
  make_folder();
  const std::string victim = folder.file("victim");
  std::ofstream(victim) << "precious";
  ASSERT_EQ(symlink(victim.c_str(), log_path.c_str()), 0);
  open_log();
  close_job_log(0, 0);
  struct stat status = {};
  ASSERT_EQ(stat(victim.c_str(), &status), 0);
  EXPECT_EQ(status.st_size, 8);
  EXPECT_EQ(text(), "");
}

TEST_F(job_log_test, writes_to_no_file_that_has_another_name) {
  make_folder();
  const std::string victim = folder.file("victim");
  std::ofstream(victim) << "precious";
  ASSERT_EQ(link(victim.c_str(), log_path.c_str()), 0);
  open_log();
  close_job_log(0, 0);
  struct stat status = {};
  ASSERT_EQ(stat(victim.c_str(), &status), 0);
  EXPECT_EQ(status.st_size, 8);
  EXPECT_EQ(text(), "");
}

TEST_F(job_log_test, follows_no_link_in_the_folders_place) {
  const std::string elsewhere = folder.file("elsewhere");
  ASSERT_EQ(mkdir(elsewhere.c_str(), 0700), 0);
  ASSERT_EQ(symlink(elsewhere.c_str(), metadata.c_str()), 0);
  open_job_log_and_folder(tool, metadata, source, {1, argv});
  close_job_log(0, 0);
  EXPECT_NE(access((elsewhere + "/vod.log").c_str(), F_OK), 0);
}

TEST_F(job_log_test, a_fifo_in_its_place_blocks_nobody) {
  make_folder();
  ASSERT_EQ(mkfifo(log_path.c_str(), 0600), 0);
  const int reader = open(log_path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  open_log();
  close_job_log(0, 0);
  char byte = 0;
  EXPECT_LE(read(reader, &byte, 1), 0);
  EXPECT_EQ(text(), "");
  close(reader);
}

TEST(why_it_failed, reads_the_log_that_belongs_to_the_status_text) {
  const scratch_folder folder;
  const std::string input = folder.file("in.mpg");
  const std::string output = folder.file("out.mp4");
  for (const std::string& media : {input, output}) {
    char* const argv[] = {nullptr};
    open_job_log_and_folder(tool, metadata_folder_of(media), media, {0, const_cast<char**>(argv)});
    log_failure(media, media == input ? "is empty" : "changed while it was read");
    close_job_log(1, 0);
  }
  EXPECT_EQ(why_it_failed({"Transcoding failed", input, output}),
            "source-changed: changed while it was read");
  EXPECT_EQ(
      why_it_failed({"Rejected: Unable to determine appropriate transcoding profiles", input, ""}),
      "not-media: is empty");
  EXPECT_EQ(why_it_failed({"Cancelled by user", input, output}), "");
  EXPECT_EQ(why_it_failed({"Unable to send file to remote", input, output}), "");
}

TEST(why_it_failed, of_several_failures_of_a_source_chooses_none_without_knowing_the_time) {
  const scratch_folder folder;
  const std::string input = folder.file("in.mpg");
  const ended_job job{"Unable to send file to remote", input, ""};
  ASSERT_EQ(mkdir(metadata_folder_of(input).c_str(), 0700), 0);
  std::ofstream log(metadata_folder_of(input) + "/vod.log");
  log << "--- t qxmi_remote_transcode failed: disk-full: no room\n" << std::flush;
  EXPECT_EQ(why_it_failed(job), "disk-full: no room");
  log << "--- u qxmi_remote_transcode failed: disk-full: no room\n" << std::flush;
  EXPECT_EQ(why_it_failed(job), "disk-full: no room");
  log << "--- v qxmi_remote_transcode failed: source-changed: so\n" << std::flush;
  EXPECT_EQ(why_it_failed(job), "");
}

TEST(why_it_failed, anything_but_a_log_gives_no_reason) {
  const scratch_folder folder;
  const std::string output = folder.file("out.mp4");
  EXPECT_EQ(why_it_failed({"Transcoding failed", "/in", output}), "");
  ASSERT_EQ(mkdir(metadata_folder_of(output).c_str(), 0700), 0);
  std::ofstream(metadata_folder_of(output) + "/vod.log") << "--- \n---  \n--- x\n=== qxmi_vod\n\n";
  EXPECT_EQ(why_it_failed({"Transcoding failed", "/in", output}), "");
}

TEST(why_it_failed, stays_on_one_line_of_bounded_length) {
  const scratch_folder folder;
  const std::string output = folder.file("out.mp4");
  ASSERT_EQ(mkdir(metadata_folder_of(output).c_str(), 0700), 0);
  std::ofstream(metadata_folder_of(output) + "/vod.log")
      << "--- t qxmi_vod_transcode failed: a: \x1b[2J" << std::string(3000, 'x') << "\n";
  const std::string why = why_it_failed({"Transcoding failed", "/in", output});
  EXPECT_THAT(why, testing::StartsWith("a: \\x1b[2Jxxx"));
  EXPECT_LT(why.size(), 600U);
}

TEST(failure, is_derived_from_the_words_of_its_cause) {
  const auto of_source = [](const char* cause) {
    return std::string(failure_code(failure_of_cause(cause, file_role::source)));
  };
  const auto of_output = [](const char* cause) {
    return std::string(failure_code(failure_of_cause(cause, file_role::output)));
  };
  EXPECT_EQ(of_source("No such file or directory"), "source-missing");
  EXPECT_EQ(of_output("No such file or directory"), "output-refused");
  EXPECT_EQ(of_source("Permission denied"), "source-unreadable");
  EXPECT_EQ(of_output("Permission denied"), "output-refused");
  EXPECT_EQ(of_source("No space left on device"), "disk-full");
  EXPECT_EQ(of_source("changed while it was sent"), "source-changed");
  EXPECT_EQ(of_source("Invalid data found when processing input"), "source-damaged");
  EXPECT_EQ(of_source("the time limit has expired"), "engine-stalled");
  EXPECT_EQ(of_source("ended by Killed"), "engine-killed");
  EXPECT_EQ(of_source("its metadata cannot be read: Invalid argument"), "metadata-refused");
  EXPECT_EQ(of_source("no such profile: \"x\""), "no-such-profile");
  EXPECT_EQ(of_source("nobody knows"), "engine-failed");
}

// The documentation and the code have the same failure codes.
TEST(failure, every_code_has_its_line_in_the_documentation) {
  std::ifstream page(QX_SOURCE_DIR "/docs/failures.md");
  ASSERT_TRUE(page.is_open());
  std::vector<std::string> documented;
  for (std::string line; std::getline(page, line);) {
    if (line.compare(0, 3, "| `") == 0) {
      documented.push_back(line.substr(3, line.find('`', 3) - 3));
    }
  }
  std::vector<std::string> known;
  for (int i = 0; i < failure_count; ++i) {
    known.emplace_back(failure_code(static_cast<failure>(i)));
  }
  EXPECT_THAT(documented, testing::UnorderedElementsAreArray(known));
}
