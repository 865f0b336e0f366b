// Command lines and bodies of the requests.
#include "tests/remote/remote_bench.h"

using namespace qx_test;

namespace {

using strings = std::vector<std::string>;

strings curl_line(const std::string& command) {
  return {"/usr/bin/curl",
          "--silent",
          "-i",
          "-X",
          "POST",
          "--data-binary",
          "@-",
          "--user",
          "vod:pass word",
          "http://far.example:8080/reelstack4/vod.cgi?c=vodsrv&vc=" + command};
}

TEST_F(remote_bench, add_request_names_upload_and_profile) {
  begin();
  const tool_call upload = machine.root.wait_for_call(tool::upload);
  const tool_call add = machine.root.wait_for_call("curl.add");
  EXPECT_EQ(add.argv, curl_line("add"));
  ASSERT_EQ(upload.argv.size(), 3U);
  wait_for_remote_state("monitor");
  EXPECT_EQ(add.stdin_text(), "*name:" + upload.argv[1] +
                                  "\ndelete on finish:1\ntranscode profile:720\n"
                                  "transcode state:ready\n\n");
}

TEST_F(remote_bench, monitor_request_names_the_remote_item) {
  begin_monitoring();
  const tool_call list = machine.root.wait_for_call("curl.list");
  EXPECT_EQ(list.argv, curl_line("list"));
  EXPECT_TRUE(
      wait_until([&] { return list.stdin_text() == std::string("entry id:") + far_id + "\n\n"; }));
}

TEST_F(remote_bench, polls_are_a_second_apart) {
  begin_monitoring();
  // A call notes the time when it runs, which can be long after its start. The first poll starts
  // after the add noted its own.
  const auto add = machine.root.wait_for_call("curl.add");
  const auto second = machine.root.wait_for_call("curl.list", 2);
  EXPECT_GE(second.time_us - add.time_us, 1000000U);
}

TEST_F(remote_bench, empty_password_still_ends_in_a_colon) {
  machine.root.write_config({{"transcode server address", "far"},
                             {"transcode server user", "vod"},
                             {"transcode server password", ""}});
  begin();
  EXPECT_EQ(machine.root.wait_for_call("curl.add").argv.at(8), "vod:");
}

class remote_command : public remote_bench, public testing::WithParamInterface<const char*> {};

TEST_P(remote_command, is_sent_while_monitoring) {
  begin_monitoring();
  wait_for_text("Remote: far text");
  EXPECT_EQ(machine.client.command(GetParam(), id).status(), "OK");
  const auto call = machine.root.wait_for_call(std::string("curl.") + GetParam());
  EXPECT_EQ(call.argv, curl_line(GetParam()));
  EXPECT_TRUE(
      wait_until([&] { return call.stdin_text() == std::string("entry id:") + far_id + "\n\n"; }));
}

INSTANTIATE_TEST_SUITE_P(words, remote_command, testing::Values("pause", "cancel"));

TEST_F(remote_bench, resume_is_sent_while_monitoring_a_paused_item) {
  far_reply paused;
  paused.body = far_item("transcoding", ", \"paused\": true");
  machine.root.plan("curl.pause", replies(paused));
  begin_monitoring();
  machine.client.command("pause", id);
  far_state("transcoding", ", \"paused\": true");
  wait_for_text("Remote: far text (paused)");
  wait_for_remote_state("monitor");
  EXPECT_EQ(machine.client.command("resume", id).status(), "OK");
  EXPECT_EQ(machine.root.wait_for_call("curl.resume").argv, curl_line("resume"));
}

TEST_F(remote_bench, upload_names_the_job_and_the_source) {
  begin();
  const tool_call call = machine.root.wait_for_call(tool::upload);
  ASSERT_EQ(call.argv.size(), 3U);
  EXPECT_EQ(call.argv[0], "/usr/bin/qxmi_remote_transcode");
  EXPECT_EQ(call.argv[1].size(), 36U);
  EXPECT_EQ(call.argv[2], "/mnt/media/clip.ts");
}

TEST_F(remote_bench, download_requests_the_remote_output_by_full_path) {
  far_state("done");
  begin();
  std::string const output =
      machine.client.wait_for_transcode_state(id, "done")["output file"].string_value();
  EXPECT_EQ(machine.root.wait_for_call(tool::wget).argv,
            (strings{"/usr/bin/wget", "--continue", "--progress=dot", "--output-document=" + output,
                     "--user=vod", "--password=pass word",
                     "ftp://far.example:8080//mnt/main/tv/vod/far.mp4"}));
}

TEST_F(remote_bench, requests_go_to_the_currently_configured_server) {
  begin_monitoring();
  machine.service.stop();
  machine.root.write_config({{"transcode server address", "another.example"},
                             {"transcode server user", "vod"},
                             {"transcode server password", ""}});
  const int before = static_cast<int>(machine.root.calls("curl.list").size());
  machine.start();
  EXPECT_EQ(machine.root.wait_for_call("curl.list", before + 1).argv.at(9),
            "http://another.example/reelstack4/vod.cgi?c=vodsrv&vc=list");
}

}  // namespace
