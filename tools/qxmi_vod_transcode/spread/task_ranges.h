// How the segments that are missing are divided among the tasks of a cluster.
#pragma once

#include <cstdint>
#include <vector>

// Segments `first` to `end` - 1.
struct task_range {
  std::int64_t first = 0;
  std::int64_t end = 0;

  std::int64_t size() const { return end - first; }
};

// Divides the segments that `missing` names in rising order into ranges without gaps, one to six
// segments long, so that `places` which take one after the other are done with all of them soonest.
// Each place gets three or more if there are enough, so that a slow one costs little. Ranges are
// longer if there would be more of them than a cluster takes; where there are too many gaps for
// that, the last segments are in no range. If the last one shall go on to an end that is only
// estimated, it has at least two segments: an end that comes a little early is still in it.
std::vector<task_range> divide_into_tasks(const std::vector<std::int64_t>& missing, int places,
                                          bool last_is_open = false);
