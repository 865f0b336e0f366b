// Stopping and starting the shipped service: what its users find afterwards.
#include <csignal>
#include <filesystem>

#include <gmock/gmock.h>

#include "tests/queue/stored_queue.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using ::testing::AnyOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

namespace fs = std::filesystem;

namespace {

constexpr const char* source = "/mnt/media/clip.mpg";

// A machine on which an item is being transcoded until "go" is released.
struct busy_machine : stored_machine {
  busy_machine() {
    root.plan(tool::transcode, tool_plan()
                                   .catch_signal(SIGUSR1)
                                   .catch_signal(SIGUSR2)
                                   .mark("transcoding")
                                   .wait("go")
                                   .write("{-o}", "video"));
    root.write_source(source, "video/mp2t");
    start();
    id = client.add_ready(source);
    EXPECT_TRUE(root.wait_for_mark("transcoding"));
  }
  std::string id;
};

}  // namespace

TEST(restart, interrupted_transcodes_come_first_in_reverse_order) {
  stored_machine machine;
  machine.service.set_uptime(young_uptime_s);
  machine.start_with({machine.stored("r", "ready"), machine.stored("a", "transcoding"),
                      machine.stored("d", "done"), machine.stored("b", "transcoding")});
  EXPECT_THAT(machine.listed_ids(), ElementsAre("b", "a", "r", "d"));
  EXPECT_EQ(machine.client.list()["modify counter"].int_value(), 4);
  EXPECT_EQ(machine.client.state_text("a"), "Transcoding will restart, waiting for turn");
}

TEST(restart, interrupted_transcode_runs_before_all_others) {
  stored_machine machine;
  machine.root.plan(tool::transcode, tool_plan().wait("go").write("{-o}", "video"));
  machine.start_with({machine.stored("r", "ready"), machine.stored("a", "transcoding")});
  EXPECT_EQ(machine.root.wait_for_call(tool::transcode).argv.back(), "/mnt/media/a.mpg");
  machine.root.release("go");
  machine.client.wait_for_transcode_state("a", "done");
  machine.client.wait_for_transcode_state("r", "done");
}

TEST(restart, interrupted_transcode_starts_over_and_succeeds) {
  busy_machine machine;
  EXPECT_EQ(machine.service.stop().status, 0);
  const auto stored = machine.queue_document()["list"][0];
  EXPECT_EQ(stored["transcode state"], "transcoding");
  EXPECT_EQ(stored["state"], "Transcode will restart when transcode service resumes");
  machine.start();
  machine.root.wait_for_call(tool::transcode, 2);
  machine.root.release("go");
  machine.client.wait_for_transcode_state(machine.id, "done");
}

// The job was resumed and waiting when the service ended; its new transcoder was never suspended.
TEST(restart, transcode_that_was_waiting_gets_no_signal) {
  stored_machine machine;
  machine.root.plan(tool::transcode,
                    tool_plan().catch_signal(SIGUSR2).mark("up").wait("go").write("{-o}", "video"));
  machine.start_with({machine.stored("a", "transcoding", {{"waiting", true}})});
  ASSERT_TRUE(machine.root.wait_for_mark("up"));
  machine.client.wait_for_item("a", [](const auto& item) { return !item["waiting"].bool_value(); });
  const auto call = machine.root.wait_for_call(tool::transcode);
  machine.root.release("go");
  machine.client.wait_for_transcode_state("a", "done");
  EXPECT_TRUE(call.signals().empty());
}

TEST(restart, paused_transcode_waits_for_its_user) {
  busy_machine machine;
  machine.client.command("pause", machine.id);
  machine.service.restart();
  const auto item = machine.client.wait_for_transcode_state(machine.id, "ready");
  EXPECT_TRUE(item["paused"].bool_value());
  EXPECT_EQ(item["state"], "Transcoding will restart when user resumes this job");
  machine.root.release("go");
  machine.client.command("resume", machine.id);
  machine.client.wait_for_transcode_state(machine.id, "done");
  EXPECT_EQ(machine.root.calls(tool::transcode).size(), 2U);
}

TEST(restart, item_keeps_its_users_values) {
  stored_machine machine;
  machine.service.set_uptime(young_uptime_s);
  machine.root.write_source(source, "video/mp2t");
  machine.start();
  const auto id =
      machine.client.add_ready(source, {{"transcode profile", "480"}, {"delete on finish", "1"}});
  const auto before = machine.client.item(id);
  machine.service.restart();
  const auto after = machine.client.item(id);
  for (const char* key : {"input file", "transcode profile", "delete on finish", "fileops job id",
                          "transcode state"}) {
    EXPECT_EQ(after[key], before[key]) << key;
  }
}

TEST(restart, item_that_was_not_yet_marked_ready_is_forgotten) {
  stored_machine machine;
  machine.root.write_source(source);
  machine.start();
  machine.client.add_file(source);
  machine.service.restart();
  EXPECT_THAT(machine.listed_ids(), IsEmpty());
}

TEST(restart, source_removed_in_between_cancels_its_item) {
  busy_machine machine;
  machine.service.stop();
  fs::remove(machine.root.path(source));
  machine.start();
  const auto item = machine.client.wait_for_transcode_state(machine.id, "cancelled");
  EXPECT_EQ(item["state"], "Rejected: File has disappeared");
  EXPECT_EQ(item["input file"], "");
}

TEST(restart, job_removed_in_between_cancels_its_item_and_is_replaced) {
  busy_machine machine;
  const int old_job = machine.client.item(machine.id)["fileops job id"].int_value();
  machine.service.stop();
  fs::remove_all(machine.root.path("/mnt/main/tv/fileops/jobs/" + std::to_string(old_job)));
  machine.start();
  const auto item = machine.client.wait_for_transcode_state(machine.id, "cancelled");
  EXPECT_EQ(item["state"], "Rejected: File operation disappeared unexpectedly");
  const int new_job = item["fileops job id"].int_value();
  EXPECT_EQ(machine.root.job_status(new_job).at("state"), item["state"].string_value());
}

TEST(restart, finished_item_whose_job_was_removed_is_dropped) {
  stored_machine machine;
  const json_array items{machine.stored("d", "done"), machine.stored("c", "cancelled"),
                         machine.stored("e", "done")};
  for (const std::size_t i : {0U, 1U}) {
    fs::remove_all(machine.root.path("/mnt/main/tv/fileops/jobs/" +
                                     std::to_string(items.at(i)["fileops job id"].int_value())));
  }
  machine.start_with(items);
  EXPECT_THAT(machine.listed_ids(), ElementsAre("e"));
}

TEST(restart, cancelled_item_can_be_made_ready_again) {
  busy_machine machine;
  machine.client.command("cancel", machine.id);
  machine.service.restart();
  EXPECT_EQ(machine.client.state_text(machine.id), "Cancelled by user");
  machine.root.release("go");
  EXPECT_EQ(machine.client.command("ready", machine.id).status(), "OK");
  machine.client.wait_for_transcode_state(machine.id, "done");
}

TEST(restart, stop_writes_even_an_empty_queue) {
  stored_machine machine;
  machine.start();
  EXPECT_EQ(machine.service.stderr_lines().front(), "Unable to open queue file");
  machine.service.stop();
  EXPECT_THAT(machine.root.queue_file(), HasSubstr("\"list\": []"));
  machine.start();
  EXPECT_THAT(machine.service.stderr_text(), Not(AnyOf(HasSubstr("queue"), HasSubstr("Queue"))));
}
