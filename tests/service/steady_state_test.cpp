// Many jobs one after another leak nothing. scripts/day does the same for longer.
#include <gtest/gtest.h>

#include "tests/service/many_jobs.h"
#include "tests/support/wait_until.h"

using namespace qx_test;

namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr bool memory_is_comparable = false;  // freed memory stays in quarantine
#else
constexpr bool memory_is_comparable = true;
#endif

// Freed memory is not always returned at once; one leaked 16 KiB buffer per step would be 4 MiB.
constexpr long memory_slack_kib = 512;

constexpr int jobs_at_once = 20;
constexpr int rounds = 3;

}  // namespace

TEST(steady_state, holds_over_many_steps) {
  many_jobs jobs;
  const int steps_of_first_round = jobs.run_round(jobs_at_once);
  const footprint before = jobs.footprint_at_rest();
  int steps = 0;
  for (int i = 0; i < rounds; ++i) {
    steps += jobs.run_round(jobs_at_once);
  }
  const footprint after = jobs.footprint_at_rest();
  EXPECT_EQ(steps, rounds * steps_of_first_round);
  EXPECT_GE(steps_of_first_round, 5 * jobs_at_once);
  EXPECT_EQ(after.descriptors, before.descriptors);
  EXPECT_EQ(after.processes, 1) << "the service alone, and no zombie";
  EXPECT_EQ(after.job_folders, 0);
  if (memory_is_comparable) { EXPECT_LE(after.memory_kib, before.memory_kib + memory_slack_kib); }
}
