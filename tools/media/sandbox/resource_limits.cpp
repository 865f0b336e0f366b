#include "tools/media/sandbox/resource_limits.h"

#include <algorithm>
#include <fstream>
#include <string>

#include <sched.h>
#include <sys/resource.h>

namespace {

constexpr rlim_t address_space = rlim_t{4} << 30;
// Each thread reserves an arena of the allocator and a stack, used or not.
constexpr rlim_t address_space_of_thread = rlim_t{160} << 20;
constexpr rlim_t memory_of_function = rlim_t{512} << 20;
constexpr rlim_t most_descriptors = 256;
constexpr rlim_t most_threads = 4096;  // of the engine's account; another has threads of its own

bool limit(__rlimit_resource_t resource, rlim_t value) {
  rlimit now{};
  if (getrlimit(resource, &now) != 0) { return false; }
  value = std::min(value, now.rlim_max);
  const rlimit wanted{value, value};
  return setrlimit(resource, &wanted) == 0;
}

rlim_t usable_processors() {
  cpu_set_t set;
  return sched_getaffinity(0, sizeof(set), &set) == 0 ? static_cast<rlim_t>(CPU_COUNT(&set)) : 1;
}

// Writable memory of this process alone, in bytes; 0 if it cannot be read.
rlim_t data_in_use() {
  std::ifstream status("/proc/self/status");
  for (std::string name; status >> name;) {
    rlim_t kibibytes = 0;
    if (name == "VmData:" && status >> kibibytes) { return kibibytes << 10; }
  }
  return 0;
}

bool limit_memory_of_program() {
  return limit(RLIMIT_AS, address_space + usable_processors() * address_space_of_thread);
}

}  // namespace

// The addresses of this very program may be reserved far beyond what it uses, so a function's limit
// is on what it adds.
bool limit_memory_of_function() {
  const rlim_t present = data_in_use();
  return present > 0 && limit(RLIMIT_DATA, present + memory_of_function);
}

bool limit_threads() {
  return limit(RLIMIT_NPROC, most_threads);
}

bool set_limits(const sandbox& limits) {
  const auto seconds = static_cast<rlim_t>(limits.processor_time.count());
  return (!limits.is_program || limit_memory_of_program()) &&
         limit(RLIMIT_NOFILE, most_descriptors) && limit(RLIMIT_CORE, 0) &&
         limit(RLIMIT_FSIZE, limits.largest_file) && (seconds == 0 || limit(RLIMIT_CPU, seconds));
}
