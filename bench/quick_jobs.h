// Jobs whose tools end at once, so that only the service and the starts of processes take time.
#pragma once

#include "tests/support/test_machine.h"

namespace bench {

class quick_jobs {
public:
  quick_jobs();

  struct cost {
    double ms;            // from the first "add" until the last job is done
    double processor_ms;  // of the service, without its children
  };

  // What each of fifty jobs costs.
  cost cost_per_job();

private:
  void remove_all() const;

  qx_test::test_machine machine_;
  int sources_ = 0;
};

}  // namespace bench
