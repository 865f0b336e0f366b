// Starts the service with queue files as long as it reads, and with ones that were made to be
// expensive, and prints how long each start took, the processor time and how much memory it needed
// at most. Exit status 0 if the queue files of 512 jobs took less than 2 s of processor and 300
// MiB, and the others less than 200 ms and 64 MiB for each MiB, else 1.
#include <chrono>
#include <cstdio>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

#include "rules/limits.h"
#include "tests/queue/stored_queue.h"

using namespace qx_test;

namespace {

constexpr std::size_t longest_text = queue_file_size_limit - (std::size_t{64} << 10U);

struct goal {
  double seconds;
  long memory_kib;
};

long peak_memory_kib(pid_t pid) {
  for (const auto& line : lines_of(read_file("/proc/" + std::to_string(pid) + "/status"))) {
    if (line.rfind("VmHWM:", 0) == 0) { return std::stol(line.substr(6)); }
  }
  return -1;
}

// Of the process so far, in user and kernel mode.
double processor_seconds(pid_t pid) {
  const std::string stat = read_file("/proc/" + std::to_string(pid) + "/stat");
  unsigned long user = 0;
  unsigned long kernel = 0;
  const std::size_t name_end = stat.rfind(')');
  if (name_end == std::string::npos ||
      std::sscanf(stat.c_str() + name_end + 1,
                  " %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %lu %lu", &user, &kernel) != 2) {
    return -1;
  }
  return static_cast<double>(user + kernel) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// Starts the service with this queue file and expects it to take over this many jobs.
bool measure(const char* what, stored_machine& machine, const std::string& text, int jobs,
             const goal& limit) {
  machine.root.write_queue_file(text);
  machine.service.set_uptime(young_uptime_s);
  const auto begin = std::chrono::steady_clock::now();
  machine.start();
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
  const double used = processor_seconds(machine.service.pid());
  const long memory_kib = peak_memory_kib(machine.service.pid());
  const int read = machine.client.list()["total"].int_value();
  const bool good =
      read == jobs && used >= 0 && used < limit.seconds && memory_kib < limit.memory_kib;
  std::printf("%-34s %6.1f MiB %4d jobs %8.0f ms, %6.0f ms of processor %6ld MiB%s\n", what,
              static_cast<double>(text.size()) / (1U << 20U), read, taken.count() * 1000,
              used * 1000, memory_kib / 1024, good ? "" : "  MISSED");
  return good;
}

// A queue of 512 jobs, each with `value` under the key.
bool measure_queue(const char* what, const char* key, const json11::Json& value) {
  stored_machine machine;
  json_array items;
  for (std::size_t i = 0; i < most_jobs; ++i) {
    items.push_back(machine.stored("job" + std::to_string(i), "ready", {{key, value}}));
  }
  return measure(what, machine, json11::Json(json_object{{"list", items}}).dump(),
                 static_cast<int>(most_jobs), {2.0, 300L * 1024});
}

// A file of this many MiB that repeats the unit between `begin` and the brackets that end it.
bool measure_hostile(const char* what, std::size_t mib, const std::string& begin,
                     const std::string& unit, const std::string& end) {
  std::string text = begin;
  while (text.size() < mib << 20U) {
    text += unit;
  }
  stored_machine machine;
  const auto size = static_cast<double>(mib);
  return measure(what, machine, text + end, 0,
                 {0.2 * size + 0.2, static_cast<long>(mib * 64 * 1024)});
}

}  // namespace

int main() {
  const json_array profiles(longest_listing / 2, "1");
  bool good = measure_queue("jobs without values", "state", "");
  good &= measure_queue("jobs with long texts", "transcode profile",
                        std::string(longest_text / most_jobs - 1024, 'x'));
  good &= measure_queue("jobs with the longest listings", "quoted profile", profiles);
  good &= measure_queue("jobs with the largest documents", "remote job",
                        json_object{{"json", json_object{{"a", json_array(5400, json_array{})}}}});
  good &= measure_hostile("empty objects, small file", 1, "{\"list\":[", "{},", "{}]}");
  good &= measure_hostile("empty objects", 31, "{\"list\":[", "{},", "{}]}");
  good &= measure_hostile("one job of empty objects", 31, "{\"list\":[[", "{},", "{}]]}");
  good &= measure_hostile("jobs of empty objects", 31, "{\"list\":[",
                          "{\"a\":" + json11::Json(json_array(10900, json_object{})).dump() + "},",
                          "{}]}");
  good &= measure_hostile("numbers outside the list", 31, "{\"a\":{\"b\":[", "0,", "0]}}");
  good &= measure_hostile("numbers in another array", 31, "{\"a\":[", "0,", "0]}");
  good &= measure_hostile("numbers and a fault, small file", 1, "{\"a\":[", "0,", "]}");
  good &= measure_hostile("numbers and a fault", 31, "{\"a\":[", "0,", "]}");
  good &=
      measure_hostile("long numbers and a fault", 31, "{\"a\":[", std::string(64, '1') + ",", "]}");
  good &= measure_hostile("brackets", 31, "", "[", "");
  good &= measure_hostile("one string of quotes", 31, "{\"list\":\"", "\\\"", "\"}");
  return good && !::testing::Test::HasFailure() ? 0 : 1;
}
