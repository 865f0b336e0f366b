#include "tests/trust/trial.h"

#include <algorithm>
#include <cstdlib>
#include <random>

#include <gtest/gtest.h>

namespace qx_test {

namespace {

constexpr int most_printed = 20;

std::mt19937& choices() {
  static std::mt19937 source(1);  // NOLINT(cert-msc51-cpp): the same numbers in every run
  return source;
}

}  // namespace

long count_argument(int argc, char** argv, long usual) {
  if (argc == 1) { return usual; }
  char* end = nullptr;
  const long count = std::strtol(argv[1], &end, 10);
  if (argc == 2 && *end == '\0' && count > 0) { return count; }
  std::fprintf(stderr, "usage: %s [COUNT]\n", argv[0]);
  std::exit(2);
}

bool read_sample(const char* text, long& count, long& other) {
  char* end = nullptr;
  count = std::strtol(text, &end, 10);
  if (*end == '+') { other = std::strtol(end + 1, &end, 10); }
  return *end == '\0' && count > 0 && other >= 0;
}

unsigned random_below(unsigned limit) {
  return static_cast<unsigned>(choices()() % limit);
}

void begin_choices(unsigned seed) {
  choices().seed(seed);
}

long resident_kib(pid_t pid) {
  const std::string status = read_file("/proc/" + std::to_string(pid) + "/status");
  const auto at = status.find("VmRSS:");
  return at == std::string::npos ? -1 : std::atol(status.c_str() + at + 6);
}

double percentile(std::vector<double> values, double share) {
  if (values.empty()) { return 0.0; }
  std::sort(values.begin(), values.end());
  const auto last = static_cast<double>(values.size() - 1);
  return values[static_cast<std::size_t>(share * last)];
}

void findings::add(const std::string& what) {
  if (++count_ > most_printed) { return; }
  std::printf("%s: FOUND: %s\n", trial_.c_str(), what.c_str());
  std::fflush(stdout);
}

int findings::report() const {
  const bool is_good = count_ == 0 && !::testing::Test::HasFailure();
  std::printf("%s: findings: %d%s\n", trial_.c_str(), count_, is_good ? "" : ", NOT passed");
  return is_good ? 0 : 1;
}

}  // namespace qx_test
