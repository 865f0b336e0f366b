// A machine whose queue is full of jobs that wait.
#pragma once

#include <string>

#include "tests/support/test_machine.h"

namespace bench {

constexpr int full_queue_jobs = 512;

class full_queue {
public:
  // Writes the queue file, sources and job directories; the service is not started. The jobs are
  // paused in "ready to transcode".
  full_queue();

  // Milliseconds from the start of the service to its first reply. Stops a service that runs.
  double start_ms();
  // Microseconds of the service's processor time for the listing of a page.
  double page_us() const;
  // The share of a processor, in percent, that the service uses while nobody calls it.
  double rest_percent() const;

private:
  qx_test::test_machine machine_;
  std::string queue_text_;
};

}  // namespace bench
