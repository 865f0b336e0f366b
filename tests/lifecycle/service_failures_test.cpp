// Tools that fail, crash, cannot be started or print nonsense, and what users see.
#include <csignal>
#include <filesystem>
#include <map>

#include <gmock/gmock.h>

#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using ::testing::HasSubstr;

namespace {

constexpr char source[] = "/mnt/media/clip.mpg";
constexpr char no_listing_text[] = "Rejected: Unable to determine appropriate transcoding profiles";
constexpr char no_profiles_text[] =
    "Rejected: Transcoder could not determine profiles (but returned success)";

class service_failures : public ::testing::Test {
protected:
  service_failures() { machine_.root.write_source(source); }

  std::string start_job(const name_values& more = {}) {
    machine_.start();
    return machine_.client.add_ready(source, more);
  }
  // The job ends "cancelled" with this text, in the listing and in its status.
  void expect_cancelled(const std::string& text, const name_values& more = {}) {
    const auto item = machine_.client.wait_for_transcode_state(start_job(more), "cancelled");
    EXPECT_EQ(item["state"].string_value(), text);
    const auto status = machine_.root.job_status(item["fileops job id"].int_value());
    EXPECT_EQ(status.at("state"), text);
    EXPECT_EQ(status.at("transcode state"), "cancelled");
    EXPECT_EQ(status.at("success"), "0");
  }
  void expect_done() { machine_.client.wait_for_transcode_state(start_job(), "done"); }

  test_machine machine_;
};

}  // namespace

TEST_F(service_failures, identification_that_fails_rejects_the_file) {
  machine_.root.plan(tool::startitem, tool_plan().exit(1));
  expect_cancelled("Rejected: Unable to create metadata or identify item");
}

TEST_F(service_failures, identification_that_cannot_be_started_rejects_the_file) {
  machine_.root.break_tool("qxmi_startitem");
  expect_cancelled("Rejected: Unable to create metadata or identify item");
  EXPECT_THAT(machine_.service.stderr_text(), HasSubstr("process terminated (status=0xff00)\n"));
}

TEST_F(service_failures, files_that_cannot_be_transcoded_are_rejected) {
  machine_.root.plan(tool::startitem, tool_plan().metadata("file type=image/png\n"));
  expect_cancelled("Rejected: File type is not transcodeable");
}

TEST_F(service_failures, offline_files_are_rejected) {
  machine_.root.write_metadata(source, {{"file type", "video/mp4"}, {"offline", "1"}});
  expect_cancelled("Rejected: File is marked offline");
}

TEST_F(service_failures, damaged_metadata_reject_the_file) {
  machine_.root.write("/mnt/media/.clip.mpg.metadata/metadata", "no entry\n");
  expect_cancelled("unable to check metadata");
}

TEST_F(service_failures, listing_that_fails_rejects_the_file) {
  machine_.root.plan(tool::quote, tool_plan().print("*QUOTE\n.. 720\n").exit(1));
  expect_cancelled(no_listing_text);
}

TEST_F(service_failures, listing_that_crashes_rejects_the_file) {
  machine_.root.plan(tool::quote, tool_plan().print("*QUOTE\n.. 720\n").die(SIGSEGV));
  expect_cancelled(no_listing_text);
}

TEST_F(service_failures, listing_that_cannot_be_started_rejects_the_file) {
  machine_.root.break_tool("qxmi_vod_transcode");
  expect_cancelled(no_listing_text);
}

TEST_F(service_failures, listing_without_profiles_rejects_the_file) {
  machine_.root.plan(tool::quote, tool_plan().print("720\n.. 720\n*QUOTE\n..   \n"));
  expect_cancelled(no_profiles_text);
}

TEST_F(service_failures, silent_listing_rejects_the_file) {
  machine_.root.plan(tool::quote, tool_plan().close_stdout());
  expect_cancelled(no_profiles_text);
}

TEST_F(service_failures, listing_of_any_bytes_is_read) {
  machine_.root.plan(tool::quote, tool_plan()
                                      .print("\xff\x01garbage\r\n*QUOTE\r\n")
                                      .print("..    720\r\nnoise\n.. 480\n.. cut"));
  const auto item = machine_.client.wait_for_transcode_state(start_job(), "done");
  EXPECT_EQ(item["quoted profile"].dump(), "[\"720\", \"480\"]");
}

TEST_F(service_failures, endless_listing_is_cancelled_and_ended_by_remove) {
  machine_.root.plan(tool::quote, tool_plan().fill(1000000).wait("never"));
  const std::string id = start_job();
  machine_.client.wait_for_state_text(
      id, "Rejected: utility std-output buffer overrun. Please report to Velmar staff.");
  EXPECT_EQ(machine_.client.transcode_state(id), "cancelling");
  EXPECT_EQ(machine_.client.command("remove", id).status(), "OK");
  EXPECT_TRUE(wait_until([&] { return machine_.client.item(id).is_null(); }));
  EXPECT_EQ(machine_.root.processes().size(), 1U);
}

TEST_F(service_failures, listing_that_overruns_and_ends_is_cancelled) {
  machine_.root.plan(tool::quote, tool_plan().fill(16384));
  expect_cancelled("Rejected: utility std-output buffer overrun. Please report to Velmar staff.");
}

TEST_F(service_failures, failed_transcode_is_reported) {
  machine_.root.plan(tool::transcode, tool_plan().print("Encoding: frame=1/4\n").exit(3));
  expect_cancelled("Transcoding failed");
}

TEST_F(service_failures, killed_transcode_is_reported) {
  machine_.root.plan(tool::transcode, tool_plan().die(SIGKILL));
  expect_cancelled("Transcoding failed");
}

TEST_F(service_failures, missing_thumbnail_fails_nothing) {
  machine_.root.plan(tool::grab, tool_plan().exit(1));
  expect_done();
  EXPECT_EQ(machine_.root.calls(tool::startitem).size(), 2U);
}

TEST_F(service_failures, crashing_thumbnail_fails_nothing) {
  machine_.root.plan(tool::grab, tool_plan().die(SIGSEGV));
  expect_done();
}

TEST_F(service_failures, thumbnail_tool_that_cannot_be_started_fails_nothing) {
  machine_.root.break_tool("qxmi_grab");
  expect_done();
}

TEST_F(service_failures, missing_output_metadata_fail_nothing) {
  machine_.root.plan_call(tool::startitem, 2, tool_plan().exit(1));
  expect_done();
}

TEST_F(service_failures, metadata_that_cannot_be_removed_are_reported) {
  machine_.root.plan(tool::rm, tool_plan().exit(1));
  expect_cancelled("Unable to remove metadata", {{"delete on finish", "1"}});
  EXPECT_TRUE(machine_.root.exists(source));
}

TEST_F(service_failures, vanished_job_directory_is_reported_in_a_new_one) {
  machine_.root.plan(tool::quote, tool_plan().mark("asked").wait("go").print("*QUOTE\n.. 720\n"));
  const std::string id = start_job();
  ASSERT_TRUE(machine_.root.wait_for_mark("asked"));
  const int job = machine_.client.item(id)["fileops job id"].int_value();
  machine_.root.run(
      {"/usr/bin/find", "/mnt/main/tv/fileops/jobs/" + std::to_string(job), "-delete"});
  machine_.root.release("go");
  const auto item = machine_.client.wait_for_transcode_state(id, "cancelled");
  EXPECT_EQ(item["state"].string_value(), "Rejected: File operation disappeared unexpectedly");
  EXPECT_NE(item["fileops job id"].int_value(), job);
  EXPECT_EQ(machine_.root.job_status(item["fileops job id"].int_value()).at("state"),
            "Rejected: File operation disappeared unexpectedly");
  EXPECT_TRUE(machine_.root.calls(tool::transcode).empty());
}

TEST_F(service_failures, vanished_source_is_reported_at_the_start_of_the_transcode) {
  machine_.root.plan(tool::quote, tool_plan().mark("asked").wait("go").print("*QUOTE\n.. 720\n"));
  const std::string id = start_job();
  ASSERT_TRUE(machine_.root.wait_for_mark("asked"));
  std::filesystem::remove(machine_.root.path(source));
  machine_.root.release("go");
  machine_.client.wait_for_transcode_state(id, "cancelled");
  EXPECT_EQ(machine_.client.state_text(id),
            "Rejected: file not accessible, No such file or directory");
}

TEST_F(service_failures, sources_other_than_files_are_rejected_at_once) {
  machine_.start();
  std::filesystem::create_symlink("clip.mpg", machine_.root.path("/mnt/media/link.mpg"));
  machine_.root.run({"/usr/bin/mkfifo", "/mnt/media/fifo.mpg"});
  const std::map<std::string, std::string> texts = {
      {"/mnt/media/link.mpg", "Rejected: neither file nor folder"},
      {"/mnt/media/fifo.mpg", "Rejected: neither file nor folder"},
      {"/mnt/media/gone.mpg", "Rejected: file not accessible, No such file or directory"},
      {"/mnt/none/clip.mpg", "Rejected: unable to locate folder"},
      {"/etc/hostname", "Rejected: Forbidden input file"}};
  for (const auto& [path, text] : texts) {
    const std::string id = machine_.client.add_file(path);
    EXPECT_EQ(machine_.client.command("ready", id).status(),
              "ONE OR MORE PARAMETERS CANNOT BE MODIFIED");
    EXPECT_EQ(machine_.client.state_text(id), text) << path;
    EXPECT_EQ(machine_.client.transcode_state(id), "init");
  }
}

// The output's name contains the source's and more, so for some sources there is no valid name.
class service_long_name : public ::testing::Test {
protected:
  service_long_name() { machine_.root.write_source(source_, "video/mpeg"); }

  std::string reject_job() {
    machine_.start();
    auto id = machine_.client.add_ready(source_);
    EXPECT_EQ(machine_.client.wait_for_transcode_state(id, "cancelled")["state"], no_profiles_text);
    return id;
  }
  void expect_rejected(const std::string& id) {
    machine_.client.wait_for_state_text(id, "Rejected: output file is invalid");
    EXPECT_EQ(machine_.client.transcode_state(id), "cancelled");
  }

  const std::string source_ = "/mnt/media/" + std::string(236, 'n') + ".mpg";
  test_machine machine_;
};

TEST_F(service_long_name, is_rejected_again_after_restart_and_ready) {
  const auto id = reject_job();
  EXPECT_EQ(machine_.client.command("restart", id).status(), "OK");
  expect_rejected(id);
  EXPECT_EQ(machine_.client.command("ready", id).status(), "OK");
  expect_rejected(id);
}

TEST_F(service_long_name, is_rejected_again_after_a_restart_of_the_service) {
  const auto id = reject_job();
  machine_.service.set_uptime(200);  // the steps of "ready" wait
  machine_.service.restart();
  EXPECT_EQ(machine_.client.command("restart", id).status(), "OK");
  machine_.service.set_uptime(100000);
  machine_.service.restart();
  expect_rejected(id);
}
