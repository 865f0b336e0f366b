// The commands as seen by a client of the running service, with real children and the scheduler.
#include <csignal>
#include <filesystem>

#include <gmock/gmock.h>

#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"

using namespace qx_test;
using ::testing::Contains;
using ::testing::ElementsAre;

class service_commands : public ::testing::Test {
protected:
  service_commands() {
    machine.root.write_source(source, "video/mp4");
    machine.root.plan(tool::transcode, tool_plan()
                                           .catch_signal(SIGUSR1)
                                           .catch_signal(SIGUSR2)
                                           .print("Encoding: frame=1/2\n")
                                           .wait("go")
                                           .write("{-o}", "video"));
    machine.start();
  }
  // An item whose transcoder runs until the test releases "go".
  std::string transcoding_item() {
    auto id = machine.client.add_ready(source);
    machine.client.wait_for_progress(id, 5000);
    return id;
  }
  std::string status_of(std::string_view command, const std::string& id) const {
    return machine.client.command(command, id).status();
  }
  int total() const { return machine.client.list()["total"].int_value(); }
  static constexpr char source[] = "/mnt/media/clip.mpg";
  test_machine machine;
};

TEST_F(service_commands, add_can_make_an_item_ready_in_one_request) {
  const auto reply = machine.client.request(
      "add", {{"transcode state", "ready"}, {"paused", "1"}, {"input file", source}});
  EXPECT_EQ(reply.status(), "OK") << "pairs are applied by name, the source first";
  EXPECT_EQ(reply.json()["transcode state"].string_value(), "ready");
  EXPECT_EQ(reply.json()["state"].string_value(), "Ready");
  EXPECT_GE(reply.json()["fileops job id"].int_value(), 1);
}

TEST_F(service_commands, refused_add_leaves_no_job) {
  const auto reply = machine.client.request(
      "add", {{"input file", source}, {"transcode state", "ready"}, {"unknown", "1"}});
  EXPECT_EQ(reply.status(), "One or more parameters were not accepted");
  EXPECT_EQ(total(), 0);
  EXPECT_TRUE(std::filesystem::is_empty(machine.root.path("/mnt/main/tv/fileops/jobs")));
}

TEST_F(service_commands, item_left_in_init_is_dropped_after_a_while) {
  machine.client.add({});
  EXPECT_EQ(total(), 1);
  const int counted = machine.client.list()["modify counter"].int_value();
  EXPECT_TRUE(wait_until([&] { return total() == 0; }));
  EXPECT_EQ(machine.client.list()["modify counter"].int_value(), counted + 1);
}

TEST_F(service_commands, removed_item_is_gone_with_its_job) {
  const auto id = machine.client.add_ready(source, {{"paused", "1"}});
  const int job = machine.client.item(id)["fileops job id"].int_value();
  machine.client.wait_for_item(
      id, [](const auto& item) { return item["ready state"] == "ready to transcode"; });
  const std::string folder = "/mnt/main/tv/fileops/jobs/" + std::to_string(job);
  EXPECT_TRUE(machine.root.exists(folder));
  EXPECT_EQ(status_of("remove", id), "OK");
  EXPECT_TRUE(wait_until([&] { return total() == 0; }));
  EXPECT_FALSE(machine.root.exists(folder));
  EXPECT_EQ(status_of("remove", id), "NOT FOUND");
  EXPECT_TRUE(machine.root.exists(source));
}

TEST_F(service_commands, remove_of_a_running_transcode_is_refused) {
  const auto id = transcoding_item();
  EXPECT_EQ(status_of("remove", id), "ITEM IS BUSY");
  EXPECT_EQ(machine.client.transcode_state(id), "transcoding");
  machine.root.release("go");
  machine.client.wait_for_transcode_state(id, "done");
}

TEST_F(service_commands, remove_deletes_the_source_if_requested) {
  const auto id = machine.client.add_ready(source, {{"paused", "1"}, {"delete on finish", "1"}});
  machine.client.wait_for_item(
      id, [](const auto& item) { return item["ready state"] == "ready to transcode"; });
  EXPECT_EQ(status_of("remove", id), "OK");
  EXPECT_TRUE(wait_until([&] { return total() == 0; }));
  EXPECT_FALSE(machine.root.exists(source));
  EXPECT_FALSE(machine.root.exists("/mnt/media/.clip.mpg.metadata"));
}

TEST_F(service_commands, cancel_ends_the_transcoder) {
  const auto id = transcoding_item();
  EXPECT_EQ(status_of("cancel", id), "OK");
  const auto item = machine.client.wait_for_transcode_state(id, "cancelled");
  EXPECT_EQ(item["state"].string_value(), "Cancelled by user");
  EXPECT_EQ(machine.root.job_status(item["fileops job id"].int_value())["state"],
            "Cancelled by user");
  EXPECT_EQ(item["process pid"].int_value(), -1);
  EXPECT_THAT(machine.service.stderr_lines(),
              Contains("Queue item '" + id + "' process terminated (status=0xf)"));
}

TEST_F(service_commands, cancelled_item_is_transcoded_after_a_restart) {
  const auto id = transcoding_item();
  EXPECT_EQ(status_of("cancel", id), "OK");
  machine.client.wait_for_transcode_state(id, "cancelled");
  EXPECT_EQ(machine.client.command("restart", id).json()["state"].string_value(),
            "Restarted by user");
  machine.root.release("go");
  machine.client.wait_for_transcode_state(id, "done");
  EXPECT_EQ(status_of("restart", id), "ITEM CANNOT BE CANCELLED");
  EXPECT_EQ(status_of("cancel", id), "ITEM CANNOT BE CANCELLED");
}

TEST_F(service_commands, restart_makes_a_new_or_cancelled_item_ready) {
  machine.service.stop();
  machine.service.set_uptime(10);
  machine.start();
  const auto id = machine.client.add_file(source, {{"paused", "1"}});
  for (const char* state_before : {"init", "cancelled"}) {
    EXPECT_EQ(machine.client.transcode_state(id), state_before);
    const auto reply = machine.client.command("restart", id);
    EXPECT_EQ(reply.words, (std::vector<std::string>{"restart", "OK"}));
    const auto item = reply.json();
    EXPECT_EQ(item["transcode state"].string_value(), "ready");
    EXPECT_EQ(item["state"].string_value(), "Restarted by user");
    EXPECT_FALSE(item["paused"].bool_value());
    EXPECT_EQ(machine.root.job_status(item["fileops job id"].int_value())["state"],
              "Restarted by user");
    EXPECT_EQ(status_of("cancel", id), "OK");
  }
}

TEST_F(service_commands, restart_is_refused_until_the_cancelled_child_has_ended) {
  machine.root.plan(tool::transcode, tool_plan().catch_signal(SIGTERM).mark("up").wait("go"));
  const auto id = machine.client.add_ready(source);
  const auto call = machine.root.wait_for_call(tool::transcode);
  ASSERT_TRUE(machine.root.wait_for_mark("up"));
  EXPECT_EQ(status_of("cancel", id), "OK");
  ASSERT_TRUE(wait_until([&] { return call.signals() == std::vector<int>{SIGTERM}; }));
  EXPECT_EQ(machine.client.transcode_state(id), "cancelling");
  EXPECT_EQ(status_of("restart", id), "ITEM CANNOT BE CANCELLED");
  machine.root.release("go");
  EXPECT_EQ(machine.client.wait_for_transcode_state(id, "cancelled")["state"].string_value(),
            "Cancelled by user");
}

TEST_F(service_commands, paused_transcode_is_suspended_and_continues) {
  const auto id = transcoding_item();
  const auto call = machine.root.wait_for_call(tool::transcode);
  EXPECT_EQ(machine.client.command("pause", id).json()["state"].string_value(), "Paused");
  EXPECT_TRUE(wait_until([&] { return call.signals() == std::vector<int>{SIGUSR1}; }));
  EXPECT_EQ(status_of("resume", id), "OK");
  EXPECT_TRUE(wait_until([&] { return call.signals() == std::vector<int>{SIGUSR1, SIGUSR2}; }));
  EXPECT_EQ(machine.client.state_text(id), "Transcoding file...");
  machine.root.release("go");
  machine.client.wait_for_transcode_state(id, "done");
}

TEST_F(service_commands, another_transcode_starts_while_one_is_paused) {
  const auto first = transcoding_item();
  machine.root.write_source("/mnt/media/second.mpg", "video/mp4");
  const auto second = machine.client.add_ready("/mnt/media/second.mpg");
  machine.client.wait_for_item(
      second, [](const auto& item) { return item["ready state"] == "ready to transcode"; });
  EXPECT_EQ(machine.root.calls(tool::transcode).size(), 1U);
  EXPECT_EQ(status_of("pause", first), "OK");
  machine.client.wait_for_transcode_state(second, "transcoding");
  EXPECT_EQ(status_of("resume", first), "OK");
  EXPECT_EQ(machine.client.state_text(first), "Resuming transcode...") << "until the slot is free";
  machine.root.release("go");
  machine.client.wait_for_transcode_state(first, "done");
  machine.client.wait_for_transcode_state(second, "done");
}

TEST_F(service_commands, many_items_are_listed_in_pages) {
  machine.service.stop();
  machine.service.set_uptime(10);
  machine.start();
  std::vector<std::string> ids;
  for (int i = 0; i < 50; ++i) {
    ids.push_back(machine.client.add_ready(source));
  }
  const auto page = machine.client.list({{"start", "10"}, {"end", "100"}});
  ASSERT_EQ(page["list"].array_items().size(), 16U);
  for (std::size_t i = 0; i < 16; ++i) {
    EXPECT_EQ(page["list"][i]["entry id"].string_value(), ids[10 + i]);
  }
  EXPECT_EQ(page["total"].int_value(), 50);
  EXPECT_EQ(page["start"].int_value(), 10);
}
