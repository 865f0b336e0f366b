// Outcomes of a command passed on to the remote server.
#include "tests/remote/remote_bench.h"

using namespace qx_test;

namespace {

class passed_on : public remote_bench {
protected:
  // Passes on a command that ends as planned.
  void pass_on(const std::string& command, const tool_plan& plan) {
    machine.root.plan("curl." + command, plan);
    begin_monitoring();
    wait_for_text("Remote: far text");
    EXPECT_EQ(machine.client.command(command, id).status(), "OK");
    machine.root.wait_for_call("curl." + command);
  }
  static far_reply far(const std::string& state, const std::string& more = "") {
    far_reply reply;
    reply.body = far_item(state, more);
    return reply;
  }
};

TEST_F(passed_on, pause_returns_to_monitoring) {
  far_state("transcoding", "");
  pass_on("pause", replies(far("transcoding", ", \"paused\": true")));
  far_state("transcoding", ", \"paused\": true");
  const auto item = wait_for_text("Remote: far text (paused)");
  EXPECT_TRUE(item["paused"].bool_value());
  EXPECT_EQ(wait_for_remote_state("monitor")["remote transcode command"].string_value(), "");
}

TEST_F(passed_on, failed_command_cancels_and_forgets) {
  pass_on("pause", tool_plan().exit(7));
  wait_for_text("Remote item: command failed");
  const auto item = machine.client.wait_for_transcode_state(id, "cancelled");
  EXPECT_TRUE(item["remote job"].is_null());
}

TEST_F(passed_on, command_to_a_lost_item_cancels_and_forgets) {
  pass_on("pause", replies({"404 Not Found", "text/plain", "X-comm-error:NOT FOUND\n", ""}));
  wait_for_text("Remote item: lost track of the item");
  EXPECT_TRUE(machine.client.wait_for_transcode_state(id, "cancelled")["remote job"].is_null());
}

TEST_F(passed_on, reply_of_another_type_cancels) {
  pass_on("pause", replies({"200 OK", "text/html", "", "<html>"}));
  wait_for_text("Remote server: Unexpected response, content type text/html");
  machine.client.wait_for_transcode_state(id, "cancelled");
}

// The remote job is not yet as the user wants it, so the command is repeated.
TEST_F(passed_on, error_reply_repeats_the_command) {
  pass_on("pause", replies({"500 Oops", "text/plain", "", "why"}));
  machine.root.wait_for_call("curl.pause", 2);
  EXPECT_EQ(state(), "remote transcode");
  EXPECT_EQ(machine.client.state_text(id), "Remote: far text");
}

TEST_F(passed_on, completed_cancel_is_reported) {
  pass_on("cancel", replies(far("cancelled")));
  wait_for_text("Transcode cancelled, remote end cancelled");
  EXPECT_EQ(machine.client.wait_for_transcode_state(id, "cancelled")["state"].string_value(),
            "Transcode cancelled, remote end cancelled");
}

TEST_F(passed_on, cancel_on_the_server_is_reported_as_remote) {
  begin_monitoring();
  far_state("cancelled");
  wait_for_text("Transcode was cancelled remotely. far text");
}

TEST_F(passed_on, finished_item_goes_straight_to_the_download) {
  machine.root.plan(tool::wget, tool_plan().wait("go"));
  pass_on("pause", replies(far("done")));
  machine.root.wait_for_call(tool::wget);
  EXPECT_EQ(
      wait_for_text("Downloading transcoded file...")["remote transcode state"].string_value(),
      "download");
}

TEST_F(passed_on, cancel_during_a_command_ends_the_job_here_after_it) {
  pass_on("pause", tool_plan().wait("go").print(far("transcoding").text()));
  EXPECT_EQ(machine.client.command("cancel", id).status(), "OK");
  EXPECT_EQ(state(), "remote transcode");
  machine.root.release("go");
  machine.client.wait_for_transcode_state(id, "cancelled");
}

}  // namespace
