// Waiting for a condition with a deadline, which tests use instead of sleeps.
#pragma once

#include <chrono>
#include <thread>

namespace qx_test {

// Much longer than any step takes on a busy two-core machine, so that only a real fault exceeds it.
constexpr std::chrono::seconds default_deadline{60};

// Checks `condition` every few milliseconds until it is true or `deadline` has passed; returns
// whether it became true.
template <typename Condition>
bool wait_until(Condition condition, std::chrono::milliseconds deadline = default_deadline) {
  const auto end = std::chrono::steady_clock::now() + deadline;
  while (!condition()) {
    if (std::chrono::steady_clock::now() >= end) { return condition(); }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

}  // namespace qx_test
