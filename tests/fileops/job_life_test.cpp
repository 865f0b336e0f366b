// The file-operations job of an item in the shipped service, from creation to removal.
#include <csignal>
#include <filesystem>

#include <gmock/gmock.h>

#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using ::testing::HasSubstr;

namespace fs = std::filesystem;

namespace {

constexpr const char* source = "/mnt/media/clip.mpg";
constexpr const char* jobs = "/mnt/main/tv/fileops/jobs/";

struct job_machine : test_machine {
  job_machine() { root.write_source(source, "video/mp2t"); }

  int job_of(const std::string& id) const { return client.item(id)["fileops job id"].int_value(); }
  std::string directory_of(int job) const { return root.path(jobs + std::to_string(job)); }
  bool wait_for_status(int job, const std::string& key, const std::string& value) const {
    return wait_until([&] {
      const auto status = root.job_status(job);
      const auto found = status.find(key);
      return found != status.end() && found->second == value;
    });
  }
  // The summary beside an item's output.
  std::string summary_of(const std::string& id) const {
    const fs::path output = client.item(id)["output file"].string_value();
    const std::string metadir = "." + output.filename().string() + ".metadata";
    return root.read((output.parent_path() / metadir / ".transcode").string());
  }
};

}  // namespace

TEST(job_life, item_has_no_job_before_it_is_ready) {
  job_machine machine;
  machine.start();
  const auto id = machine.client.add_file(source);
  EXPECT_EQ(machine.job_of(id), -1);
  EXPECT_FALSE(machine.root.exists(jobs));
}

TEST(job_life, ready_item_has_a_job) {
  job_machine machine;
  machine.service.set_uptime(200);
  machine.start();
  const auto id = machine.client.add_ready(source);
  const int job = machine.job_of(id);
  ASSERT_GE(job, 0);
  EXPECT_EQ(machine.root.read(jobs + std::to_string(job) + "/copy_pid"),
            std::to_string(machine.service.inner_pid()) + "\n");
  EXPECT_EQ(machine.root.job_status(job).at("state"), "Ready");
  EXPECT_EQ(machine.root.job_status(job).at("path"), "/mnt/media");
  EXPECT_EQ(machine.root.job_status(job).at("now transcoding"), "clip.mpg");
}

TEST(job_life, status_and_summary_follow_the_transcode) {
  job_machine machine;
  machine.root.plan(tool::transcode,
                    tool_plan().print("Encoding: frame=1/2\n").wait("go").write("{-o}", "video"));
  machine.start();
  const auto id = machine.client.add_ready(source);
  machine.client.wait_for_progress(id, 5000);
  const auto status = machine.root.job_status(machine.job_of(id));
  EXPECT_EQ(status.at("transfer progress"), "5000/10000");
  EXPECT_EQ(status.at("transcode progress"), "5000/10000");
  EXPECT_EQ(status.at("transcode state"), "transcoding");
  EXPECT_THAT(machine.summary_of(id), HasSubstr("transcode progress=5000/10000\n"));
  machine.root.release("go");
  machine.client.wait_for_transcode_state(id, "done");
  EXPECT_THAT(machine.summary_of(id), HasSubstr("job state=Transcode complete\n"));
}

TEST(job_life, status_follows_commands) {
  job_machine machine;
  machine.root.plan(tool::transcode,
                    tool_plan().catch_signal(SIGUSR1).mark("transcoding").wait("go"));
  machine.start();
  const auto id = machine.client.add_ready(source);
  EXPECT_TRUE(machine.root.wait_for_mark("transcoding"));
  const int job = machine.job_of(id);
  machine.client.command("pause", id);
  EXPECT_EQ(machine.root.job_status(job).at("paused"), "1");
  EXPECT_EQ(machine.root.job_status(job).at("state"), "Paused");
  machine.client.command("cancel", id);
  EXPECT_EQ(machine.root.job_status(job).at("state"), "Cancelled by user");
  EXPECT_TRUE(machine.wait_for_status(job, "transcode state", "cancelled"));
}

TEST(job_life, removed_item_leaves_no_job) {
  job_machine machine;
  machine.start();
  const auto id = machine.client.add_ready(source);
  machine.client.wait_for_transcode_state(id, "done");
  const int job = machine.job_of(id);
  machine.client.command("remove", id);
  EXPECT_FALSE(exists(machine.directory_of(job)));
}

TEST(job_life, job_directory_with_foreign_files_is_kept) {
  job_machine machine;
  machine.start();
  const auto id = machine.client.add_ready(source);
  machine.client.wait_for_transcode_state(id, "done");
  const auto directory = machine.directory_of(machine.job_of(id));
  write_file(directory + "/other", "");
  machine.client.command("remove", id);
  EXPECT_TRUE(exists(directory + "/other"));
  EXPECT_FALSE(exists(directory + "/status"));
}

TEST(job_life, transcode_does_not_start_when_its_job_is_gone) {
  job_machine machine;
  machine.root.plan(tool::quote, tool_plan().wait("go").print("*QUOTE\n.. 720\n"));
  machine.start();
  const auto id = machine.client.add_ready(source);
  machine.root.wait_for_call(tool::quote);
  const int job = machine.job_of(id);
  fs::remove_all(machine.directory_of(job));
  machine.root.release("go");
  const auto item = machine.client.wait_for_transcode_state(id, "cancelled");
  EXPECT_EQ(item["state"], "Rejected: File operation disappeared unexpectedly");
  EXPECT_NE(item["fileops job id"].int_value(), job);
  const auto status = machine.root.job_status(item["fileops job id"].int_value());
  EXPECT_EQ(status.at("state"), item["state"].string_value());
  EXPECT_EQ(status.at("transcode state"), "cancelled");
}

TEST(job_life, ready_is_refused_without_a_job) {
  job_machine machine;
  machine.root.write("/mnt/main/tv/fileops", "in the way");
  machine.start();
  const auto id = machine.client.add_file(source);
  EXPECT_EQ(machine.client.command("ready", id).status(),
            "ONE OR MORE PARAMETERS CANNOT BE MODIFIED");
  EXPECT_EQ(machine.client.state_text(id), "Rejected: unable to create job id");
}

TEST(job_life, unwritable_status_does_not_stop_the_job) {
  job_machine machine;
  machine.root.plan(tool::quote, tool_plan().wait("go").print("*QUOTE\n.. 720\n"));
  machine.start();
  const auto id = machine.client.add_ready(source);
  machine.root.wait_for_call(tool::quote);
  const auto status = machine.directory_of(machine.job_of(id)) + "/status";
  fs::remove(status);
  fs::create_directory(status);
  machine.root.release("go");
  machine.client.wait_for_transcode_state(id, "done");
  EXPECT_TRUE(fs::is_directory(status));
}
