// Remote jobs that wait for somebody's doing, which their state and text do not tell.
#pragma once

#include <ctime>
#include <string>

#include "tools/client/item_view.h"

// A request that lasts for longer has no time limit, or not the packaged one.
constexpr std::time_t longest_request_s = 90;

struct held_job {
  std::string reason;  // empty for a job that is not held
  std::string advice;  // the way out, with the command to give
};

// Looks at the job's source and at its process on this machine.
held_job look_at_held(const item_view& item);

// Judges by what was seen: whether the source is there, and how long the job's process has run, in
// seconds (0 without one).
held_job judge_held(const item_view& item, bool has_source, std::time_t process_age_s);
