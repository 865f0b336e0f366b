// Skips tests that a machine cannot run.
#pragma once

#include <cstdlib>

#include <gtest/gtest.h>

namespace qx_test {

// Continuous integration sets CI; every test can run there, and one that cannot is a failure.
inline bool is_ci() {
  const char* const value = std::getenv("CI");
  return value != nullptr && *value != '\0';
}

}  // namespace qx_test

// Ends the test, or set-up, in which it is used: skipped for this reason, or failed in continuous
// integration.
#define QX_SKIP_OR_FAIL_IN_CI(reason)                                                              \
  do {                                                                                             \
    if (qx_test::is_ci()) FAIL() << "cannot be run here: " << (reason);                            \
    GTEST_SKIP() << (reason);                                                                      \
  } while (false)
