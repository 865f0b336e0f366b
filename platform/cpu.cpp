#include "platform/cpu.h"

#include <sched.h>
#include <unistd.h>

namespace {

std::size_t cpu_count = 0;  // 0: not counted yet

// Uses the affinity mask rather than the machine's total: a container or a restricted service has
// fewer processors.
std::size_t count_cpus() {
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof(set), &set) == 0 && CPU_COUNT(&set) > 0) {
    return static_cast<std::size_t>(CPU_COUNT(&set));
  }
  // The machine has more processors than the mask has room for.
  const long online = sysconf(_SC_NPROCESSORS_ONLN);
  return online > 0 ? static_cast<std::size_t>(online) : 1;
}

}  // namespace

void init_tarn_utils_cpu() {
  cpu_count = count_cpus();
}

std::size_t how_many_cpus() {
  if (cpu_count == 0) { init_tarn_utils_cpu(); }
  return cpu_count;
}
