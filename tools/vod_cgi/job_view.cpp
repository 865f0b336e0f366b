#include "tools/vod_cgi/job_view.h"

#include <iterator>

#include "rules/states.h"
#include "tools/vod_cgi/folded_text.h"

const char* group_name(job_group group) {
  constexpr const char* names[] = {"running", "waiting", "paused", "done", "failed", "cancelled"};
  static_assert(std::size(names) == job_group_count);
  return names[static_cast<std::size_t>(group)];
}

job_group group_of(const item_view& job) {
  if (job.done()) { return job_group::done; }
  if (job.cancelled() || job.state == name_of(TRANSCODE_CANCELLING)) {
    return job.is_in(failed_jobs) ? job_group::failed : job_group::cancelled;
  }
  if (job.paused) { return job_group::paused; }
  // A transcode that was resumed and has not got its turn back yet waits.
  return job.running() && !job.waiting ? job_group::running : job_group::waiting;
}

bool matches_search(const item_view& job, const std::string& folded_search) {
  const std::string all = job.input_file + "\n" + job.output_file + "\n" + job.profile + "\n" +
                          job.text + "\n" + job.entry_id;
  return folded_text(all).find(folded_search) != std::string::npos;
}
