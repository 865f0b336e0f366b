// Adding a file to the queue, in two requests, so that a refusal comes with its reason.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "tools/client/vod_service.h"

struct new_job {
  std::string file;     // absolute
  std::string profile;  // empty leaves the choice to the service
  bool deletes_source = false;
};

struct submission {
  enum class step { added, refused_at_add, refused_at_ready, not_made_ready };

  step end = step::refused_at_add;
  service_reply reply;  // to the last request that decided: "add" or "ready"
  std::string entry_id;
  // For a job refused at "ready": the reply to its removal from the queue.
  service_reply taken_back;
};

// Adds the job and, unless `hold` is set, makes it ready. A job that is refused then leaves the
// queue again and keeps its source. "not_made_ready" is a job that is in the queue, but the service
// did not answer to "ready".
submission submit(vod_service& service, const new_job& job, bool hold);

// Why the file cannot be transcoded to the profile; empty if it can, if no profile is given, or if
// only the service knows. `listed` are the profiles known to be offered; if it is empty, the
// transcoder is asked, which takes `time_limit` at most.
std::string profile_problem(const std::string& profile, const std::string& file,
                            const std::vector<std::string>& listed,
                            std::chrono::milliseconds time_limit);
