// A job from the point of view of the queue page's users.
#pragma once

#include <string>

#include "tools/client/queue_reader.h"

// The groups into which the page sorts the jobs.
enum class job_group {
  running,    // a tool works on it
  waiting,    // being looked at, or for its turn
  paused,     // by a user
  done,       // its VOD is ready
  failed,     // ended before its end, and nobody asked for that
  cancelled,  // by a user
};
constexpr int job_group_count = 6;

// "running", "waiting", ...
const char* group_name(job_group group);

job_group group_of(const item_view& job);

// Whether the job's paths, profile, text or id contain `search`, whatever the case of the letters.
// It has to be folded already.
bool matches_search(const item_view& job, const std::string& folded_search);
