#include "tools/qxmi_vod_transcode/spread/task_ranges.h"

#include <algorithm>

namespace {

constexpr std::int64_t tasks_of_a_place = 3;
constexpr std::int64_t longest_range = 6;
constexpr std::size_t most_tasks = 1000;  // Slurm takes no longer arrays unless its settings say so

}  // namespace

std::vector<task_range> divide_into_tasks(const std::vector<std::int64_t>& missing, int places) {
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
  return ranges;
}
