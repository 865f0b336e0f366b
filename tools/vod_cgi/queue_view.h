// The part of the queue that the page shows, with totals of the whole queue.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include <json11.hpp>

#include "tools/client/queue_reader.h"
#include "tools/vod_cgi/media_files.h"
#include "tools/vod_cgi/page_query.h"

// When the jobs of the queue are expected to be done.
struct expected_ends {
  std::vector<std::optional<double>> left;  // seconds from `now`, for each job in queue order
  std::int64_t now = 0;                     // seconds since 1970
};

// The answer to a query over all jobs as the service lists them: those on the screen ("items"), how
// many match, how many there are of each group and state, and the next jobs in line. docs/http.md
// describes the format. Equal queues give equal answers.
json11::Json view_of_queue(const std::vector<listed_item>& jobs, const expected_ends& ends,
                           const queue_query& wanted, const vod_folder& folder);
