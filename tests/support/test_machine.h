// The three parts of nearly every end-to-end test: private root, service, client.
#pragma once

#include "tests/support/control_client.h"
#include "tests/support/private_root.h"
#include "tests/support/service_process.h"

namespace qx_test {

// A private root with a service that is not started yet, so that a test can write settings, plans
// and files before it calls start().
struct test_machine {
  explicit test_machine(tool_set tools = tool_set::stand_ins) : root(tools) {}
  void start() { service.start(); }

  private_root root;
  service_process service{root};
  control_client client{root};
};

}  // namespace qx_test
