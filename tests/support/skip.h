// Skipping what a machine cannot run, where that is nobody's oversight.
#pragma once

#include <cstdlib>

#include <gtest/gtest.h>

namespace qx_test {

// Continuous integration sets CI; there every test can run, and one that does not is a fault.
inline bool is_ci() {
  const char* const value = std::getenv("CI");
  return value != nullptr && *value != '\0';
}

}  // namespace qx_test

// Ends the test, or set-up, it stands in: skipped for that reason, or failed in continuous
// integration.
#define QX_SKIP_OR_FAIL_IN_CI(reason)                                                              \
  do {                                                                                             \
    if (qx_test::is_ci()) FAIL() << "cannot be run here: " << (reason);                            \
    GTEST_SKIP() << (reason);                                                                      \
  } while (false)
