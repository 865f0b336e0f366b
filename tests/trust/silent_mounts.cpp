// Adds jobs whose sources are on a mount that does not answer, while a good client measures how
// long it waits for replies. Then the mount answers, and all jobs have to get done. Prints one line
// per figure. The argument is the number of jobs.
#include <atomic>
#include <chrono>
#include <thread>

#include "tests/support/silent_mount.h"
#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"
#include "tests/trust/trial.h"

using namespace qx_test;

namespace {

using steady = std::chrono::steady_clock;
using milliseconds = std::chrono::duration<double, std::milli>;

constexpr long usual_jobs = 100;
constexpr double most_ms = 100.0;
constexpr char waiting_text[] = "Waiting for the file system of the source";

std::vector<std::string> add_jobs(const test_machine& machine, long count) {
  std::vector<std::string> ids;
  for (long i = 0; i < count; ++i) {
    ids.push_back(
        machine.client.add_ready(i % 2 == 0 ? "/mnt/share/clip.mpg" : "/mnt/share/other.mpg"));
  }
  return ids;
}

void ask(const test_machine& machine, findings& found, std::vector<double>& times) {
  for (const char* command : {"test", "list"}) {
    const auto begin = steady::now();
    found.expect(machine.client.request(command).status() == "OK", "a request was not answered");
    times.push_back(milliseconds(steady::now() - begin).count());
  }
}

void expect_done(const test_machine& machine, const std::vector<std::string>& ids,
                 findings& found) {
  for (const std::string& id : ids) {
    const bool is_done = wait_until([&] { return machine.client.transcode_state(id) == "done"; });
    found.expect(is_done, "a job is " + machine.client.transcode_state(id) + " in the end");
  }
}

}  // namespace

int main(int argc, char** argv) {
  const long jobs = count_argument(argc, argv, usual_jobs);
  findings found("silent-mounts");
  test_machine machine;
  const silent_mount mount(machine.root, "/mnt/share");
  if (!mount.is_mounted()) {
    std::fprintf(stderr, "silent-mounts: FUSE cannot be used\n");
    return 2;
  }
  machine.start();
  mount.fall_silent();
  std::vector<std::string> ids;
  std::vector<double> times;
  std::atomic<bool> is_over{false};
  std::thread adder([&] {
    ids = add_jobs(machine, jobs);
    is_over = true;
  });
  while (!is_over) {
    ask(machine, found, times);
  }
  adder.join();
  machine.client.wait_for_state_text(ids.front(), waiting_text);
  for (int i = 0; i < 500; ++i) {
    ask(machine, found, times);
  }
  mount.answer();
  expect_done(machine, ids, found);
  std::printf("silent-mounts: jobs on a silent mount: %zu\n", ids.size());
  std::printf("silent-mounts: requests of others: %zu\n", times.size());
  std::printf("silent-mounts: time of a reply: p50 %.1f ms, p99 %.1f ms, longest %.1f ms\n",
              percentile(times, 0.5), percentile(times, 0.99), percentile(times, 1.0));
  found.expect(percentile(times, 1.0) <= most_ms, "somebody waited for more than 100 ms");
  return found.report();
}
