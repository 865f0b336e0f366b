#include "bench/figure.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>
#include <utility>

namespace bench {

namespace {

bool is_any_missed = false;

}  // namespace

double median_of(std::vector<double> values) {
  const auto missing =
      std::find_if(values.begin(), values.end(), [](double value) { return std::isnan(value); });
  if (missing != values.end()) { return *missing; }
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

double not_measured(const std::string& why) {
  std::fprintf(stderr, "not measured: %s\n", why.c_str());
  return std::numeric_limits<double>::quiet_NaN();
}

double median_of(const std::function<double()>& measure) {
  std::vector<double> values;
  for (int i = 0; i < measurements; ++i) {
    values.push_back(measure());
    if (std::isnan(values.back())) { return values.back(); }
  }
  return median_of(std::move(values));
}

void print_head() {
  std::printf("%-48s %12s %-18s %10s\n", "figure (median of 5)", "measured", "unit", "goal");
  std::fflush(stdout);
}

void print_figure(const std::string& name, double value, const std::string& unit, goal wanted) {
  const bool is_reached =
      wanted.direction == better::less ? value <= wanted.value : value >= wanted.value;
  is_any_missed = is_any_missed || !is_reached;
  const char* const verdict = std::isnan(value) ? "NOT MEASURED" : "MISSED";
  std::printf("%-48s %12.3f %-18s %s %7.2f  %s\n", name.c_str(), value, unit.c_str(),
              wanted.direction == better::less ? "<=" : ">=", wanted.value,
              is_reached ? "reached" : verdict);
  std::fflush(stdout);
}

void print_figure(const std::string& name, double value, const std::string& unit) {
  std::printf("%-48s %12.3f %-18s\n", name.c_str(), value, unit.c_str());
  std::fflush(stdout);
}

bool all_goals_reached() {
  return !is_any_missed;
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
