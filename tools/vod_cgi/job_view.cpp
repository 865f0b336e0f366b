// Reads jobs and sorts them into groups.
#include "tools/vod_cgi/job_view.h"

#include <algorithm>

#include "rules/json_keys.h"
#include "rules/limits.h"
#include "rules/states.h"
#include "tools/client/job_ending.h"
#include "tools/vod_cgi/folded_text.h"

namespace {

// `waits` is the flag of a transcode that was resumed and has not got its turn back yet.
job_group group_of(const job_view& job, bool waits) {
  if (job.state == name_of(TRANSCODE_DONE)) { return job_group::done; }
  if (job.state == name_of(TRANSCODE_CANCELLED) || job.state == name_of(TRANSCODE_CANCELLING)) {
    return job_has_failed(job.state, job.text) ? job_group::failed : job_group::cancelled;
  }
  if (job.paused) { return job_group::paused; }
  const bool is_worked_on =
      job.state == name_of(TRANSCODE_TRANSCODING) || job.state == name_of(TRANSCODE_REMOTE) ||
      job.state == name_of(TRANSCODE_THUMBNAIL) || job.state == name_of(TRANSCODE_CLEANUP);
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
  view.id = job[key_entry_id].string_value();
  view.state = job[key_state].string_value();
  if (view.id.empty() || view.state == name_of(TRANSCODE_CLEARED)) { return std::nullopt; }
  view.position = position;
  view.file = job[key_input_file].string_value();
  view.output = job[key_output_file].string_value();
  view.profile = job[key_profile].string_value();
  for (const json11::Json& profile : job[key_quoted_profiles].array_items()) {
    view.profiles.push_back(profile.string_value());
  }
  view.step = step_of(job);
  view.text = job[key_text].string_value();
  view.progress = std::clamp(job[key_progress][0].int_value(), 0, progress_complete);
  view.fileops_job = job[key_fileops_job_id].is_number() ? job[key_fileops_job_id].int_value() : -1;
  view.paused = job[key_paused].bool_value();
  view.deletes_source = job[key_delete_on_finish].bool_value();
  view.group = group_of(view, job[key_waiting].bool_value());
  return view;
}

bool matches_search(const job_view& job, const std::string& folded_search) {
  const std::string all =
      job.file + "\n" + job.output + "\n" + job.profile + "\n" + job.text + "\n" + job.id;
  return folded_text(all).find(folded_search) != std::string::npos;
}
