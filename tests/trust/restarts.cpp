// Kills the service while it has a child between fork and exec, which has inherited the instance
// lock and the control socket, and starts it again at once. Each child is held in that gap for a
// fifth of a second. Prints one line per figure. The argument is the number of restarts.
#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"
#include "tests/trust/trial.h"

using namespace qx_test;

namespace {

constexpr long usual_restarts = 20;
constexpr char source[] = "/mnt/media/clip.mpg";

namespace fs = std::filesystem;

struct totals {
  long starts = 0;
  double slowest_ms = 0;
};

bool runs_same_program(pid_t one, pid_t other) {
  std::error_code error;
  const auto exe = [&](pid_t pid) {
    return fs::read_symlink("/proc/" + std::to_string(pid) + "/exe", error);
  };
  const fs::path program = exe(one);
  return !program.empty() && program == exe(other);
}

// Whether a process inside, other than the service itself, still runs the service's program.
bool has_child_in_gap(const private_root& root, pid_t service) {
  const std::vector<pid_t> inside = root.processes();
  return std::any_of(inside.begin(), inside.end(), [&](pid_t inner) {
    const pid_t outer = root.outer_pid(inner);
    return outer > 0 && outer != service && runs_same_program(outer, service);
  });
}

void restart(test_machine& machine, totals& sums, findings& found) {
  const std::string job = machine.client.add_ready(source);
  const pid_t service = machine.service.pid();
  found.expect(wait_until([&] { return has_child_in_gap(machine.root, service); }),
               "the service has started no child: " + machine.client.item(job).dump() + "\n" +
                   machine.service.stderr_text());
  machine.service.kill();
  const auto begin = std::chrono::steady_clock::now();
  machine.service.launch();
  const bool answers = wait_until([&] {
    return !machine.service.running() || machine.client.request("test").status() == "OK";
  });
  const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - begin;
  const bool is_started = answers && machine.service.running();
  found.expect(is_started, "not started: " + machine.service.stderr_text());
  sums.starts += is_started ? 1 : 0;
  sums.slowest_ms = std::max(sums.slowest_ms, taken.count());
}

}  // namespace

int main(int argc, char** argv) {
  const long wanted = count_argument(argc, argv, usual_restarts);
  findings found("restarts");
  totals sums;
  {
    test_machine machine;
    machine.service.set_environment({"LD_PRELOAD=" QX_SLOW_CHILD});
    machine.root.write_source(source, "video/mp4");
    machine.start();
    for (long i = 0; i < wanted && found.count() == 0; ++i) {
      restart(machine, sums, found);
    }
  }
  std::printf(
      "restarts: started right after kill -9 with a child between fork and exec: %ld of %ld\n",
      sums.starts, wanted);
  std::printf("restarts: slowest start, of which a child's gap is 200 ms: %.0f ms\n",
              sums.slowest_ms);
  return found.report();
}
