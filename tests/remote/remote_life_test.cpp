// The remote phase as a whole: start, turns, pauses, restarts.
#include "tests/remote/remote_bench.h"

using namespace qx_test;

namespace {

TEST_F(remote_bench, configured_server_takes_the_transcode) {
  machine.root.plan(tool::upload, tool_plan().wait("go"));
  begin();
  wait_for_text("Uploading file to remote for transcode");
  EXPECT_TRUE(machine.service.wait_for_stderr("Item '" + id + "' starting transcode remotely\n"));
  EXPECT_TRUE(machine.root.calls(tool::transcode).empty());
}

TEST_F(remote_bench, transcodes_stay_local_without_a_password_line) {
  machine.root.write_config(
      {{"transcode server address", "far"}, {"transcode server user", "vod"}});
  begin();
  machine.root.wait_for_call(tool::transcode);
}

TEST_F(remote_bench, one_upload_runs_at_a_time) {
  machine.root.plan(tool::upload, tool_plan().wait("go"));
  begin();
  machine.root.wait_for_call(tool::upload);
  machine.root.write_source("/mnt/media/second.ts", "video/mp2t");
  std::string const second =
      machine.client.add_ready("/mnt/media/second.ts", {{"transcode profile", "720"}});
  machine.client.wait_for_item(second, [](const json11::Json& item) {
    return item["remote transcode state"].string_value() == "upload";
  });
  EXPECT_EQ(machine.root.calls(tool::upload).size(), 1U);
  machine.root.release("go");
  machine.root.wait_for_call(tool::upload, 2);
}

TEST_F(remote_bench, download_waits_for_an_upload_of_another_item) {
  begin_monitoring();
  machine.root.plan(tool::upload, tool_plan().wait("go"));
  machine.root.write_source("/mnt/media/second.ts", "video/mp2t");
  machine.client.add_ready("/mnt/media/second.ts", {{"transcode profile", "720"}});
  machine.root.wait_for_call(tool::upload, 2);
  far_state("done");
  wait_for_remote_state("download");
  EXPECT_EQ(machine.client.request("test").status(), "OK");
  EXPECT_TRUE(machine.root.calls(tool::wget).empty());
  machine.root.release("go");
  machine.root.wait_for_call(tool::wget);
}

TEST_F(remote_bench, pause_during_the_upload_delays_the_add) {
  machine.root.plan(tool::upload, tool_plan().wait("go"));
  begin();
  machine.root.wait_for_call(tool::upload);
  EXPECT_EQ(machine.client.command("pause", id).json()["state"].string_value(),
            "Uploading file to remote for transcode");
  machine.root.release("go");
  const auto item = wait_for_remote_state("add");
  EXPECT_TRUE(item["paused"].bool_value());
  EXPECT_TRUE(machine.root.calls("curl.add").empty());
  machine.client.command("resume", id);
  machine.root.wait_for_call("curl.add");
}

TEST_F(remote_bench, monitoring_continues_after_a_restart_of_the_service) {
  begin_monitoring();
  wait_for_text("Remote: far text");
  machine.service.restart();
  const int before = static_cast<int>(machine.root.calls("curl.list").size());
  machine.root.wait_for_call("curl.list", before + 1);
  EXPECT_EQ(machine.root.calls("curl.add").size(), 1U);
  EXPECT_EQ(machine.root.calls(tool::upload).size(), 1U);
}

TEST_F(remote_bench, restart_of_a_remotely_cancelled_item_restarts_it_remotely) {
  machine.root.plan("curl.restart", replies(added()));
  begin_monitoring();
  far_state("cancelled");
  wait_for_text("Transcode was cancelled remotely. far text");
  far_state("transcoding");
  EXPECT_EQ(machine.client.command("restart", id).status(), "OK");
  machine.root.wait_for_call("curl.restart");
  wait_for_text("Remote: far text");
  EXPECT_TRUE(machine.service.wait_for_stderr("Remote item is cancelled, commanding to restart\n"));
  EXPECT_EQ(machine.root.calls("curl.add").size(), 1U);
  EXPECT_EQ(machine.root.calls(tool::upload).size(), 1U);
}

TEST_F(remote_bench, server_that_uses_another_server_is_still_monitored) {
  begin_monitoring();
  far_state("remote transcode", ", \"remote transcode state\": \"upload\"");
  wait_for_text("Remote: far text");
  EXPECT_EQ(state(), "remote transcode");
}

TEST_F(remote_bench, queue_file_keeps_the_remote_job) {
  begin_monitoring();
  wait_for_text("Remote: far text");
  machine.service.stop();
  std::string error;
  const auto queue = json11::Json::parse(machine.root.queue_file(), error);
  const auto& job = queue["list"][0]["remote job"];
  EXPECT_EQ(job["ip"].string_value(), "far.example:8080");
  EXPECT_EQ(job["name"].string_value().size(), 36U);
  EXPECT_EQ(job["entry id"].string_value(), far_id);
  EXPECT_EQ(job["json"]["state"].string_value(), "far text");
}

}  // namespace
