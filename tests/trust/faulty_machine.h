// A private machine whose service has calls that fail when the trial wants them to.
#pragma once

#include <string>
#include <vector>

#include "tests/support/test_machine.h"
#include "tests/trust/fault_plan.h"

namespace qx_test {

// One fault: this call fails at its Nth use, or from then on.
struct fault {
  fault_call call = fault_call::none;
  long first = 1;
  bool forever = false;

  // "openat 7 and all after"
  std::string text() const;
};

class faulty_machine {
public:
  faulty_machine();
  ~faulty_machine();
  faulty_machine(const faulty_machine&) = delete;
  faulty_machine& operator=(const faulty_machine&) = delete;

  // Counts calls from 0 and lets them fail as `what` says, until disarm().
  void arm(const fault& what);
  void disarm();
  // How often each call was made since arm().
  std::vector<long> calls_made() const;
  // How many calls have failed since arm().
  long injected() const { return plan_->injected; }

  // A request with a deadline of seconds, where the service may be unable to answer at all.
  reply_packet request(std::string_view command, const name_values& pairs = {}) const;
  // Whether the service answers before the deadline.
  bool answers() const;

  test_machine machine;

private:
  fault_plan* plan_ = nullptr;
};

}  // namespace qx_test
