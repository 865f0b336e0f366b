// Outcomes of an add request.
#include "tests/remote/remote_bench.h"

using namespace qx_test;

namespace {

TEST_F(remote_bench, accepted_job_is_monitored_under_its_remote_id) {
  begin_monitoring();
  EXPECT_EQ(machine.client.item(id)["remote job"]["entry id"].string_value(), far_id);
}

struct add_case {
  const char* name;
  tool_plan plan;
  const char* text;

  friend void PrintTo(const add_case& row, std::ostream* out) { *out << row.name; }
};

class failed_add : public remote_bench, public testing::WithParamInterface<add_case> {};

TEST_P(failed_add, cancels_with_its_text) {
  machine.root.plan("curl.add", GetParam().plan);
  begin();
  wait_for_text(GetParam().text);
  machine.client.wait_for_transcode_state(id, "cancelled");
  EXPECT_EQ(machine.client.state_text(id), GetParam().text);
}

far_reply reply_of(const char* status, const char* type, const char* headers = "",
                   const char* body = "") {
  return {status, type, headers, body};
}

INSTANTIATE_TEST_SUITE_P(
    rows, failed_add,
    testing::Values(
        add_case{"signal", tool_plan().die(SIGKILL), "Unable to add file to remote"},
        add_case{"no_connection", tool_plan().exit(7),
                 "Unable to add file to remote. Unable to connect to web interface"},
        add_case{"other_exit", tool_plan().exit(28), "Unable to add file to remote. Error code 28"},
        add_case{"no_id", replies(reply_of("200 OK", "application/json", "", "{}")),
                 "Remote server: did not return entry id"},
        add_case{"empty_id", replies(reply_of("200 OK", "application/json", "entry id:\n", "{}")),
                 "Remote server: did not return entry id"},
        add_case{"html", replies(reply_of("200 OK", "text/html", "", "<html>")),
                 "Remote server: Unexpected response, content type text/html"},
        add_case{"bare_status", replies(reply_of("500 Oops", "text/html", "", "<html>")),
                 "Remote server: Error HTTP status 500, Oops"},
        add_case{"error_header",
                 replies(reply_of("400 Bad Request", "text/html", "X-comm-error:TOO MANY ITEMS\n")),
                 "Remote server: Error HTTP status 400, Bad Request \"TOO MANY ITEMS\""},
        add_case{"error_header_and_text",
                 replies(reply_of("400 Bad Request", "text/plain", "X-comm-error:E\n", "why")),
                 "Remote server: Error HTTP status 400, Bad Request \"E\" \"why\""},
        add_case{"text_alone", replies(reply_of("400 Bad", "text/plain", "", "why")),
                 "Remote server: Error HTTP status 400, Bad \"why\""},
        add_case{"no_reply", tool_plan().read_stdin(), "Remote server: Error HTTP status 0, "}),
    [](const auto& row) { return row.param.name; });

TEST_F(remote_bench, error_reply_is_printed) {
  machine.root.plan("curl.add", replies(reply_of("500 Oops", "text/plain", "X-comm-error:E\n")));
  begin();
  machine.client.wait_for_transcode_state(id, "cancelled");
  EXPECT_TRUE(
      machine.service.wait_for_stderr("Response:\n  HTTP status='500' version='HTTP/1.1' "
                                      "status-string='Oops'\n  http header 'Content-Type' "
                                      "= 'text/plain'\n  comm header 'X-comm-error' = 'E'\n"));
}

TEST_F(remote_bench, add_that_cannot_start_cancels) {
  machine.root.plan(tool::upload, tool_plan().wait("go"));
  begin();
  machine.root.wait_for_call(tool::upload);
  ASSERT_EQ(machine.root.run({"/usr/bin/mv", "/mnt/media/clip.ts", "/mnt/media/away.ts"}).status,
            0);
  machine.root.release("go");
  wait_for_text("Unable to add to remote");
}

TEST_F(remote_bench, cancel_while_adding_keeps_the_users_text) {
  machine.root.plan("curl.add", tool_plan().wait("go"));
  begin();
  machine.root.wait_for_call("curl.add");
  EXPECT_EQ(machine.client.command("cancel", id).status(), "OK");
  machine.client.wait_for_transcode_state(id, "cancelled");
  EXPECT_EQ(machine.client.state_text(id), "Cancelled by user");
}

}  // namespace
