// Runs the service through 10,000 child processes, or the number given as the first argument, and
// prints its resources before and after, which must be equal. Takes some minutes. Exit status 0 if
// nothing leaked, else 1.
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>

#include "tests/service/many_jobs.h"

using namespace qx_test;

namespace {

constexpr int default_steps = 10000;
constexpr int jobs_at_once = 50;

// The allocator may keep this much; a leak of 100 bytes per step would be twice as much.
constexpr long memory_slack_kib = 512;

void print(const char* what, long before, long after) {
  std::printf("%-12s %8ld -> %8ld\n", what, before, after);
}

bool is_steady(const footprint& before, const footprint& after) {
  return after.descriptors == before.descriptors && after.processes == before.processes &&
         after.job_folders == 0 && after.memory_kib <= before.memory_kib + memory_slack_kib;
}

}  // namespace

int main(int argc, char** argv) {
  const int wanted = argc > 1 ? std::atoi(argv[1]) : default_steps;
  const auto begin = std::chrono::steady_clock::now();
  many_jobs jobs;
  jobs.run_round(jobs_at_once);
  const footprint before = jobs.footprint_at_rest();
  int steps = 0;
  while (steps < wanted && !::testing::Test::HasFailure()) {
    steps += jobs.run_round(jobs_at_once);
  }
  const footprint after = jobs.footprint_at_rest();
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
  std::printf("%-12s %8d in %.0f s\n", "steps", steps, taken.count());
  print("descriptors", before.descriptors, after.descriptors);
  print("processes", before.processes, after.processes);
  print("job folders", before.job_folders, after.job_folders);
  print("memory KiB", before.memory_kib, after.memory_kib);
  const bool steady = is_steady(before, after) && !::testing::Test::HasFailure();
  std::puts(steady ? "steady" : "NOT steady");
  return steady ? 0 : 1;
}
