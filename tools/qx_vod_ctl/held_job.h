// Remote jobs that need an operator's action, although their state and text do not say so.
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

// Judges by the given facts: whether the source exists, and how long the job's process has been
// running, in seconds (0 without one).
held_job judge_held(const item_view& item, bool has_source, std::time_t process_age_s);
