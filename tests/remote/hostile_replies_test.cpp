// Replies that no well-behaved server sends.
#include "tests/remote/remote_bench.h"

using namespace qx_test;

namespace {

struct hostile_case {
  const char* name;
  std::string bytes;

  friend void PrintTo(const hostile_case& row, std::ostream* out) { *out << row.name; }
};

class hostile_reply : public remote_bench, public testing::WithParamInterface<hostile_case> {};

// The job is still monitored, and the service still answers.
TEST_P(hostile_reply, to_a_poll_does_no_harm) {
  begin_monitoring();
  wait_for_text("Remote: far text");
  machine.root.plan("curl.list", tool_plan().print(GetParam().bytes));
  std::size_t const before = machine.root.calls("curl.list").size();
  machine.root.wait_for_call("curl.list", static_cast<int>(before) + 2);
  EXPECT_EQ(machine.client.request("test").status(), "OK");
  EXPECT_EQ(machine.client.state_text(id), "Remote: far text");
}

std::string const head = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\n\r\n\n";

INSTANTIATE_TEST_SUITE_P(
    replies, hostile_reply,
    testing::Values(
        hostile_case{"nothing", ""}, hostile_case{"no_status_line", "hello\n\n\n{}"},
        hostile_case{"binary", std::string("\x00\xff\x01\n\x80\x00\n\n", 8)},
        hostile_case{"large_header", "HTTP/1.1 500 Oops\r\nX: " + std::string(20000, 'x')},
        hostile_case{"cut_json", head + "{\"entry id\": "},
        hostile_case{"array", head + "[1, 2, 3]"},
        hostile_case{"wrong_types", head + "{\"entry id\": 5, \"input file\": [], \"state\": {}}"},
        hostile_case{"deep", head + std::string(1000, '[') + std::string(1000, ']')},
        hostile_case{"only_line_feeds", std::string(16384, '\n')}),
    [](const auto& row) { return row.param.name; });

// The HTTP client would wait forever for somebody to read the rest.
TEST_F(remote_bench, endless_headers_end_the_poll) {
  begin_monitoring();
  wait_for_text("Remote: far text");
  std::string lines = "HTTP/1.1 500 Oops\n";
  while (lines.size() < 200000) {
    lines += "X: y\n";
  }
  machine.root.plan("curl.list", tool_plan().print(lines));
  std::size_t const before = machine.root.calls("curl.list").size();
  machine.root.wait_for_call("curl.list", static_cast<int>(before) + 3);
  EXPECT_EQ(state(), "remote transcode");
}

TEST_F(remote_bench, changed_entry_id_cancels) {
  begin_monitoring();
  machine.root.plan(
      "curl.list",
      tool_plan().print(head + "{\"entry id\": \"other\", \"input file\": \"/mnt/x\"}"));
  wait_for_text("Remote: entry ID changed");
}

TEST_F(remote_bench, unknown_remote_state_cancels) {
  begin_monitoring();
  far_state("strange");
  wait_for_text("Remote: unexpected remote state");
}

}  // namespace
