// Reads /proc of the private root's processes.
#include "tests/soak/process_view.h"

#include <cstdio>
#include <cstdlib>
#include <random>

#include "tests/support/wait_until.h"

namespace qx_test {

namespace {

struct process {
  pid_t parent = -1;
  char state = '\0';  // as in /proc: 'T' stopped, 'Z' ended
};

process read_process(const private_root& root, pid_t pid) {
  const std::string stat = root.read("/proc/" + std::to_string(pid) + "/stat");
  process found;
  const auto name_end = stat.rfind(')');
  if (name_end != std::string::npos) {
    sscanf(stat.c_str() + name_end + 1, " %c %d", &found.state, &found.parent);
  }
  return found;
}

}  // namespace

long soak_setting(const char* name, long usual) {
  const char* const value = std::getenv(name);
  return value == nullptr ? usual : std::atol(value);
}

unsigned random_below(unsigned limit) {
  static std::mt19937 source(1);  // NOLINT(cert-msc51-cpp): the same numbers in every run
  return static_cast<unsigned>(source() % limit);
}

bool process_view::engine_works(const json11::Json& item) const {
  for (const pid_t pid : root_.processes()) {
    const process engine = read_process(root_, pid);
    const bool is_its = engine.parent == item["process pid"].int_value();
    if (is_its && engine.state != 'T' && engine.state != 'Z') { return true; }
  }
  return false;
}

bool process_view::comes_to_rest(const json11::Json& item) const {
  int quiet = 0;
  return wait_until([&] {
    quiet = engine_works(item) ? 0 : quiet + 1;
    return quiet == 20;
  });
}

}  // namespace qx_test
