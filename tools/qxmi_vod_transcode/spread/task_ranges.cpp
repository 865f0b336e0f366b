#include "tools/qxmi_vod_transcode/spread/task_ranges.h"

#include <algorithm>

namespace {

constexpr std::int64_t tasks_of_a_place = 3;
constexpr std::int64_t longest_range = 6;
constexpr std::size_t most_tasks = 1000;  // Slurm takes no longer arrays unless its settings say so

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
  const std::int64_t share = count / (tasks_of_a_place * std::max(1, places));
  const auto most = static_cast<std::int64_t>(most_tasks);
  const std::int64_t least = (count + most - 1) / most;
  const std::int64_t length = std::max(least, std::clamp<std::int64_t>(share, 1, longest_range));
  std::vector<task_range> ranges;
  for (const std::int64_t segment : missing) {
    if (ranges.empty() || ranges.back().end != segment || ranges.back().size() >= length) {
      if (ranges.size() == most_tasks) { break; }
      ranges.push_back({segment, segment});
    }
    ranges.back().end = segment + 1;
  }
  if (last_is_open) { lengthen_last(ranges); }
  return ranges;
}
