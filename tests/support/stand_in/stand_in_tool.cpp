// The program that replaces every tool the service runs: it records how it was called and then
// follows the test's plan.
#include <exception>
#include <string>
#include <vector>

#include <unistd.h>

#include "tests/support/stand_in/call_record.h"
#include "tests/support/stand_in/own_files.h"
#include "tests/support/stand_in/plan_runner.h"

int main(int argc, char** argv) {
  try {
    const auto record = qx_test::record_call(argc, argv, environ);
    qx_test::plan_runner runner(record, std::vector<std::string>(argv, argv + argc));
    _exit(runner.run());
  } catch (const std::exception& error) { qx_test::fail(error.what()); }
}
