// Reads jobs and sorts them into groups.
#include "tools/vod_cgi/job_view.h"

#include <algorithm>

#include "tools/client/job_ending.h"
#include "tools/vod_cgi/folded_text.h"

namespace {

constexpr const char* step_keys[] = {"ready state", "thumbnail state", "cleanup state",
                                     "remote transcode state"};

// `waits` is the flag of a transcode that was resumed and has not got its turn back yet.
job_group group_of(const job_view& job, bool waits) {
  if (job.state == "done") { return job_group::done; }
  if (job.state == "cancelled" || job.state == "cancelling") {
    return job_has_failed(job.state, job.text) ? job_group::failed : job_group::cancelled;
  }
  if (job.paused) { return job_group::paused; }
  const bool is_worked_on = job.state == "transcoding" || job.state == "remote transcode" ||
                            job.state == "thumbnail" || job.state == "cleanup";
  return is_worked_on && !waits ? job_group::running : job_group::waiting;
}

std::string step_of(const json11::Json& job) {
  std::string step;
  for (const char* key : step_keys) {
    step += job[key].string_value();
  }
  return step;
}

}  // namespace

const char* group_name(job_group group) {
  constexpr const char* names[] = {"running", "waiting", "paused", "done", "failed", "cancelled"};
  static_assert(std::size(names) == job_group_count);
  return names[static_cast<std::size_t>(group)];
}

std::optional<job_view> read_job(const json11::Json& job, int position) {
  job_view view;
  view.id = job["entry id"].string_value();
  view.state = job["transcode state"].string_value();
  if (view.id.empty() || view.state == "cleared") { return std::nullopt; }
  view.position = position;
  view.file = job["input file"].string_value();
  view.output = job["output file"].string_value();
  view.profile = job["transcode profile"].string_value();
  for (const json11::Json& profile : job["quoted profile"].array_items()) {
    view.profiles.push_back(profile.string_value());
  }
  view.step = step_of(job);
  view.text = job["state"].string_value();
  view.progress = std::clamp(job["transcode progress"][0].int_value(), 0, 10000);
  view.fileops_job = job["fileops job id"].is_number() ? job["fileops job id"].int_value() : -1;
  view.paused = job["paused"].bool_value();
  view.deletes_source = job["delete on finish"].bool_value();
  view.group = group_of(view, job["waiting"].bool_value());
  return view;
}

bool matches_search(const job_view& job, const std::string& folded_search) {
  const std::string all =
      job.file + "\n" + job.output + "\n" + job.profile + "\n" + job.text + "\n" + job.id;
  return folded_text(all).find(folded_search) != std::string::npos;
}
