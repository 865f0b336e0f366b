// Dozens of jobs in a private root, each taken from "add" to "remove", and the resources that the
// service still holds when all are gone.
#pragma once

#include <string>
#include <vector>

#include "tests/support/test_machine.h"

namespace qx_test {

// The service's resources while no client is connected and no item is left.
struct footprint {
  int descriptors = 0;
  int processes = 0;  // of the private root: the service, its children, zombies
  int job_folders = 0;
  long memory_kib = 0;  // resident
};

class many_jobs {
public:
  many_jobs();

  // Takes this many jobs through their whole life; for most, source and metadata are removed at the
  // end. Returns the number of children the service started for them.
  int run_round(int jobs);
  footprint footprint_at_rest();

private:
  std::string add_job(int number) const;
  bool has_ended(const std::string& id) const;
  void remove_all(const std::vector<std::string>& ids) const;
  void forget_round() const;
  int children_started() const;

  test_machine machine_;
};

}  // namespace qx_test
