#include "bench/figure.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <vector>

namespace bench {

double median_of(const std::function<double()>& measure) {
  std::vector<double> values;
  for (int i = 0; i < measurements; ++i) {
    values.push_back(measure());
  }
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

void print_head() {
  std::printf("%-48s %12s %-18s %10s\n", "figure (median of 5)", "measured", "unit", "goal");
  std::fflush(stdout);
}

void print_figure(const std::string& name, double value, const std::string& unit, goal wanted) {
  const bool is_reached =
      wanted.direction == better::less ? value <= wanted.value : value >= wanted.value;
  std::printf("%-48s %12.3f %-18s %s %7.2f  %s\n", name.c_str(), value, unit.c_str(),
              wanted.direction == better::less ? "<=" : ">=", wanted.value,
              is_reached ? "reached" : "MISSED");
  std::fflush(stdout);
}

double processor_ns(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/schedstat");
  double run_time = -1;
  file >> run_time;
  return file ? run_time : -1;
}

double wall_ns() {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<double>(std::chrono::nanoseconds(now).count());
}

}  // namespace bench
