// Lets allocations of the test program fail. Its source is compiled into the program, because it
// replaces operator new.
#pragma once

namespace qx_test {

enum class failing { once, from_then_on };

// While it exists, the `nth` allocation by operator new fails, counted from 1.
class failing_memory {
public:
  failing_memory(long nth, failing how);
  ~failing_memory();
  failing_memory(const failing_memory&) = delete;
  failing_memory& operator=(const failing_memory&) = delete;

  // Whether it came to that.
  static bool has_failed();
};

// Calls `attempt` with the first, the second, ... allocation of what it does failing, until it
// comes through without a failure. `attempt` gets the number and returns whether one has failed.
template <typename Attempt>
void fail_each_allocation(Attempt attempt) {
  for (const failing how : {failing::once, failing::from_then_on}) {
    for (long nth = 1; attempt(nth, how); ++nth) {}
  }
}

}  // namespace qx_test
