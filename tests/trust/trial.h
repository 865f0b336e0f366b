// What the trials share: their choices, which are the same in every run with the same seed, and
// what they print.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include <sys/types.h>

#include "tests/support/private_root.h"

namespace qx_test {

// A number that the user gave as the only argument; `usual` without one. Ends the process, with the
// usage on standard error, for anything else.
long count_argument(int argc, char** argv, long usual);

// Reads "N" or "N+OTHER": how many cases, at least one, and which, at least 0; without OTHER that
// stays as it is. False for anything else.
bool read_sample(const char* text, long& count, long& other);

// The next number below `limit` in a sequence that is the same in every run with the same seed.
unsigned random_below(unsigned limit);
// Begins the sequence of `seed`; without this call it is that of 1.
void begin_choices(unsigned seed);

// Resident memory of a process; -1 if it has gone.
long resident_kib(pid_t pid);

// The value that the share `share` (0 to 1) of `values` does not exceed; 0 without values.
double percentile(std::vector<double> values, double share);

// Counts what went wrong, and prints the first cases of it.
class findings {
public:
  explicit findings(std::string trial) : trial_(std::move(trial)) {}

  void add(const std::string& what);
  void expect(bool holds, const std::string& what) {
    if (!holds) { add(what); }
  }
  int count() const { return count_; }
  // Prints the number of findings; the exit status of the trial.
  int report() const;

private:
  std::string trial_;
  int count_ = 0;
};

}  // namespace qx_test
