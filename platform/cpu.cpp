// Counts processors.
#include "platform/cpu.h"

#include <sched.h>
#include <unistd.h>

namespace {

std::size_t cpu_count = 1;

}  // namespace

// The affinity mask counts, not the machine: in a container or a restricted unit there are fewer.
void init_tarn_utils_cpu() {
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof(set), &set) == 0 && CPU_COUNT(&set) > 0) {
    cpu_count = static_cast<std::size_t>(CPU_COUNT(&set));
    return;
  }
  // More processors than the mask has room for.
  long const online = sysconf(_SC_NPROCESSORS_ONLN);
  cpu_count = online > 0 ? static_cast<std::size_t>(online) : 1;
}

std::size_t how_many_cpus() {
  return cpu_count;
}
