// Outcomes of a poll.
#include "tests/remote/remote_bench.h"

using namespace qx_test;

namespace {

struct poll_case {
  const char* name;
  tool_plan plan;
  const char* text;

  friend void PrintTo(const poll_case& row, std::ostream* out) { *out << row.name; }
};

class unanswered_poll : public remote_bench, public testing::WithParamInterface<poll_case> {};

TEST_P(unanswered_poll, is_reported_until_the_link_is_back) {
  begin_monitoring();
  wait_for_text("Remote: far text");
  machine.root.plan("curl.list", GetParam().plan);
  wait_for_text(GetParam().text);
  EXPECT_EQ(state(), "remote transcode");
  far_state("transcoding");
  wait_for_text("Remote: far text");
}

INSTANTIATE_TEST_SUITE_P(
    rows, unanswered_poll,
    testing::Values(poll_case{"signal", tool_plan().die(SIGKILL),
                              "Remote item: status temporarily unavailable"},
                    poll_case{"no_connection", tool_plan().exit(7),
                              "Remote item: status temporarily unavailable. Unable to connect to "
                              "web interface"},
                    poll_case{"other_exit", tool_plan().exit(52),
                              "Remote item: status temporarily unavailable. Error code 52"}),
    [](const auto& row) { return row.param.name; });

TEST_F(remote_bench, poll_updates_progress_and_text) {
  begin_monitoring();
  EXPECT_EQ(wait_for_text("Remote: far text")["transcode progress"][0].int_value(), 2500);
}

TEST_F(remote_bench, poll_reply_of_another_type_cancels) {
  machine.root.plan("curl.list", replies({"200 OK", "text/html", "", "<html>"}));
  begin();
  wait_for_text("Remote server: Unexpected response, content type text/html");
  machine.client.wait_for_transcode_state(id, "cancelled");
  EXPECT_TRUE(machine.service.wait_for_stderr("Response:\n"));
}

TEST_F(remote_bench, lost_item_is_cancelled_and_forgotten) {
  machine.root.plan("curl.list",
                    replies({"404 Not Found", "text/plain", "X-comm-error:NOT FOUND\n", ""}));
  begin();
  wait_for_text("Remote item: lost track of the item");
  const auto item = machine.client.wait_for_transcode_state(id, "cancelled");
  EXPECT_TRUE(item["remote job"].is_null());
}

class unclear_poll : public remote_bench, public testing::WithParamInterface<const char*> {};

TEST_P(unclear_poll, changes_nothing_and_is_repeated) {
  begin_monitoring();
  wait_for_text("Remote: far text");
  const far_reply reply{"404 Not Found", "text/plain", GetParam(), ""};
  machine.root.plan("curl.list", replies(reply));
  std::size_t const before = machine.root.calls("curl.list").size();
  machine.root.wait_for_call("curl.list", static_cast<int>(before) + 2);
  EXPECT_EQ(machine.client.state_text(id), "Remote: far text");
  EXPECT_EQ(state(), "remote transcode");
}

INSTANTIATE_TEST_SUITE_P(headers, unclear_poll,
                         testing::Values("", "X-comm-error:ELSE\n", "X-comm-error: NOT FOUND\n"));

TEST_F(remote_bench, pause_on_the_server_is_undone_if_no_local_user_wants_it) {
  machine.root.plan("curl.resume", replies(added()));
  begin_monitoring();
  far_state("transcoding", ", \"paused\": true");
  machine.root.wait_for_call("curl.resume");
}

// The document contains the remote server's job number, and its status is written like that of any
// item read.
TEST_F(remote_bench, remote_job_number_that_is_a_local_job_overwrites_its_status) {
  machine.root.write("/mnt/main/tv/fileops/jobs/77/status", "op=copy\n");
  begin_monitoring();
  wait_for_text("Remote: far text");
  EXPECT_EQ(machine.root.read("/mnt/main/tv/fileops/jobs/77/status"), "op=copy\n");
  far_state("transcoding", ", \"fileops job id\": 77");
  EXPECT_TRUE(wait_until([&] {
    auto const status = machine.root.job_status(77);
    auto const text = status.find("state");
    return text != status.end() && text->second == "far text" && status.at("entry id") == far_id;
  }));
}

TEST_F(remote_bench, monitoring_follows_the_last_document) {
  machine.root.plan("curl.resume", replies(added()));
  begin_monitoring();
  for (int i = 1; i <= 2; ++i) {
    far_state("transcoding", ", \"paused\": true");
    machine.root.wait_for_call("curl.resume", i);
    far_state("transcoding");
    wait_for_text("Remote: far text");
  }
}

}  // namespace
