// Takes the service through as many jobs as the first argument says, 500 by default, with tools
// that end at once, and compares what it holds after a tenth of them with what it holds at the end.
// Prints one line per figure. Exit status 0 if descriptors and processes are the same and memory
// has grown by less than a mebibyte, else 1. scripts/day runs it.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>

#include "tests/service/many_jobs.h"

using namespace qx_test;

namespace {

constexpr int default_jobs = 500;
constexpr int fewest_jobs = 10;  // for a tenth of them
constexpr int jobs_at_once = 50;
constexpr long memory_slack_kib = 1024;

struct progress {
  int jobs = 0;
  long children = 0;
};

void run_until(many_jobs& jobs, progress& done, int wanted) {
  while (done.jobs < wanted && !::testing::Test::HasFailure()) {
    const int count = std::min(jobs_at_once, wanted - done.jobs);
    done.children += jobs.run_round(count);
    done.jobs += count;
  }
}

// Ten parts, with a line after each, since a whole day takes its time.
footprint run_day(many_jobs& jobs, progress& done, int wanted) {
  footprint after_tenth;
  for (int tenth = 1; tenth <= 10 && !::testing::Test::HasFailure(); ++tenth) {
    run_until(jobs, done, static_cast<int>(static_cast<long>(wanted) * tenth / 10));
    const footprint now = jobs.footprint_at_rest();
    std::printf("day: after %d jobs: %ld KiB, %d descriptors, %d processes\n", done.jobs,
                now.memory_kib, now.descriptors, now.processes);
    std::fflush(stdout);
    if (tenth == 1) { after_tenth = now; }
  }
  return after_tenth;
}

bool print(const char* what, long after_tenth, long at_end, long slack) {
  std::printf("day: %s: %ld after a tenth, %ld at the end\n", what, after_tenth, at_end);
  return at_end <= after_tenth + slack;
}

bool is_steady(const footprint& before, const footprint& after) {
  const bool descriptors = print("descriptors", before.descriptors, after.descriptors, 0);
  const bool processes = print("processes", before.processes, after.processes, 0);
  const bool folders = print("job folders", before.job_folders, after.job_folders, 0);
  const bool memory = print("memory in KiB", before.memory_kib, after.memory_kib, memory_slack_kib);
  return descriptors && processes && folders && memory;
}

}  // namespace

int main(int argc, char** argv) {
  const int wanted = argc > 1 ? std::atoi(argv[1]) : default_jobs;
  if (wanted < fewest_jobs) {
    std::fprintf(stderr, "day: at least %d jobs are needed\n", fewest_jobs);
    return 2;
  }
  many_jobs jobs;
  progress done;
  const auto begin = std::chrono::steady_clock::now();
  const footprint before = run_day(jobs, done, wanted);
  const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - begin;
  const footprint after = jobs.footprint_at_rest();
  std::printf("day: jobs: %d, with %ld children\n", done.jobs, done.children);
  std::printf("day: time for each job: %.1f ms\n", taken.count() / std::max(1, done.jobs));
  const bool steady = is_steady(before, after) && !::testing::Test::HasFailure();
  std::puts(steady ? "day: steady" : "day: NOT steady");
  return steady ? 0 : 1;
}
