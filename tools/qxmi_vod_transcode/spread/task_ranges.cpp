#include "tools/qxmi_vod_transcode/spread/task_ranges.h"

#include <algorithm>

namespace {

constexpr std::int64_t least_rounds = 3;
constexpr std::int64_t longest_range = 6;
// A task starts and begins to read before its range, which takes as long as a third of a segment.
constexpr double start_of_task = 0.3;
constexpr std::int64_t most_tasks =
    1000;  // Slurm takes no longer arrays unless its settings say so

std::int64_t quotient_rounded_up(std::int64_t count, std::int64_t divisor) {
  return (count + divisor - 1) / divisor;
}

// With the last round as full as it can be.
std::int64_t fastest_length(std::int64_t count, std::int64_t places) {
  std::int64_t fastest = 1;
  double least_time = 0.0;
  for (std::int64_t length = 1; length <= longest_range; ++length) {
    const std::int64_t rounds = quotient_rounded_up(quotient_rounded_up(count, length), places);
    const double time = static_cast<double>(rounds) * (static_cast<double>(length) + start_of_task);
    const bool is_allowed = length == 1 || rounds >= least_rounds;
    if (length == 1 || (is_allowed && time < least_time)) {
      fastest = length;
      least_time = time;
    }
  }
  return fastest;
}

void lengthen_last(std::vector<task_range>& ranges) {
  if (ranges.size() < 2) { return; }
  const task_range last = ranges.back();
  task_range& before = ranges[ranges.size() - 2];
  if (last.size() > 1 || before.end != last.first) { return; }
  before.end = last.end;
  ranges.pop_back();
}

}  // namespace

std::vector<task_range> divide_into_tasks(const std::vector<std::int64_t>& missing, int places,
                                          bool last_is_open) {
  const auto count = static_cast<std::int64_t>(missing.size());
  const std::int64_t length =
      std::max(quotient_rounded_up(count, most_tasks), fastest_length(count, std::max(1, places)));
  std::vector<task_range> ranges;
  for (const std::int64_t segment : missing) {
    if (ranges.empty() || ranges.back().end != segment || ranges.back().size() >= length) {
      if (ranges.size() == std::size_t{most_tasks}) { break; }
      ranges.push_back({segment, segment});
    }
    ranges.back().end = segment + 1;
  }
  if (last_is_open) { lengthen_last(ranges); }
  return ranges;
}
