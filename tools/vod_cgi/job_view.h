// A job as the queue page is told of it: only what it shows, under names of its own. Command lines,
// process ids and what belongs to other servers are not among it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include <json11.hpp>

// What a job is to somebody who looks at the queue.
enum class job_group {
  running,    // a tool works on it
  waiting,    // being looked at, or for its turn
  paused,     // by a user
  done,       // its VOD is ready
  failed,     // ended before its end, and nobody asked for that
  cancelled,  // somebody did
};
constexpr int job_group_count = 6;

// "running", "waiting", ...
const char* group_name(job_group group);

struct job_view {
  std::string id;
  int position = 0;  // in the queue, from 0
  std::string file;
  std::string output;
  std::string profile;
  std::vector<std::string> profiles;  // what may be chosen, best first
  std::string state;
  std::string step;  // the part of a state that has parts, "" for others
  std::string text;
  int progress = 0;  // 0 to 10000
  int fileops_job = -1;
  bool paused = false;
  bool deletes_source = false;
  job_group group = job_group::waiting;
};

// Reads a job as the service lists it. Nothing for one without an id, and for one in state
// "cleared": that is out of the queue with the service's next look at it.
std::optional<job_view> read_job(const json11::Json& job, int position);

// Whether `search` stands in the job's paths, profile, text or id, whatever the case of its
// letters. It has to be folded already.
bool matches_search(const job_view& job, const std::string& folded_search);
