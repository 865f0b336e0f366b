// A service that sends its transcodes to a server which the test plays.
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
  std::string comm_headers;  // lines, each with its line feed
  std::string body;

  std::string text() const;
};

// The far item's document.
std::string far_item(std::string_view state, std::string_view more = "");

// What the HTTP client does to give that reply.
tool_plan replies(const far_reply& reply);

// The reply that takes the job on.
far_reply added();

// A near server, with the far side's answers planned for a job that is taken on and transcodes.
class remote_bench : public testing::Test {
protected:
  remote_bench();

  // Starts the service and adds a job that is identified already.
  void begin();
  // The same, and waits until it is being monitored.
  void begin_monitoring();
  // The far item is in that state at every poll from now on.
  void far_state(std::string_view state, std::string_view more = "");
  json11::Json wait_for_remote_state(const std::string& state);
  json11::Json wait_for_text(const std::string& text);
  std::string state() { return machine.client.transcode_state(id); }

  test_machine machine;
  std::string id;
};

}  // namespace qx_test
