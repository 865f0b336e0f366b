// A service whose remote server is played by the test.
#pragma once

#include <string>
#include <string_view>

#include <gtest/gtest.h>

#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"

namespace qx_test {

constexpr char far_id[] = "11111111-2222-3333-4444-555555555555";

// A reply as the HTTP client prints it.
struct far_reply {
  std::string status = "200 OK";
  std::string content_type = "application/json";
  std::string comm_headers;  // lines, each including its line feed
  std::string body;

  std::string text() const;
};

// The remote item's document.
std::string far_item(std::string_view state, std::string_view more = "");

// A plan for the HTTP client to produce this reply.
tool_plan replies(const far_reply& reply);

// The reply that accepts the job.
far_reply added();

// A local server with planned replies from the remote one, which accepts a job and transcodes it.
class remote_bench : public testing::Test {
protected:
  remote_bench();

  // Starts the service and adds a job whose source is already identified.
  void begin();
  // The same, and waits until the job is being monitored.
  void begin_monitoring();
  // From now on every poll finds the remote item in this state.
  void far_state(std::string_view state, std::string_view more = "");
  json11::Json wait_for_remote_state(const std::string& state);
  json11::Json wait_for_text(const std::string& text);
  std::string state() { return machine.client.transcode_state(id); }

  test_machine machine;
  std::string id;
};

}  // namespace qx_test
