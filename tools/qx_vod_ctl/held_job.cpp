#include "tools/qx_vod_ctl/held_job.h"

#include <cerrno>

#include <sys/stat.h>

#include "rules/states.h"
#include "tools/qx_vod_ctl/doctor/service_process.h"
#include "tools/qx_vod_ctl/terminal_text.h"

namespace {

bool is_step(const item_view& item, std::initializer_list<remote_transcode_states> steps) {
  for (const remote_transcode_states step : steps) {
    if (item.sub_state == name_of(step)) { return true; }
  }
  return false;
}

// A source that this user may not look at counts as there.
bool is_there(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

std::time_t age_of_process(int pid) {
  const std::time_t start = pid > 0 ? start_of_process(pid) : 0;
  return start == 0 ? 0 : std::time(nullptr) - start;
}

}  // namespace

held_job look_at_held(const item_view& item) {
  if (!item.is(TRANSCODE_REMOTE)) { return {}; }
  return judge_held(item, is_there(item.input_file), age_of_process(item.pid));
}

held_job judge_held(const item_view& item, bool has_source, std::time_t process_age_s) {
  if (!item.is(TRANSCODE_REMOTE)) { return {}; }
  if (item.pid > 0) {
    if (process_age_s <= longest_request_s ||
        !is_step(item, {REMOTE_ADD, REMOTE_MONITOR, REMOTE_COMMAND})) {
      return {};
    }
    return {"its request has been unanswered for " + std::to_string(process_age_s) + " s",
            "check the remote server; \"kill " + std::to_string(item.pid) +
                "\" ends the request, and docs/remote.md shows how to limit them all"};
  }
  if (!has_source) {
    return {"its source " + printable(item.input_file) +
                " is missing; without it nothing is sent to the remote server",
            "restore it; to cancel the job, an empty file of that name is enough"};
  }
  if (item.paused && is_step(item, {REMOTE_UPLOAD, REMOTE_ADD, REMOTE_DOWNLOAD})) {
    return {"paused before the step \"" + item.sub_state + "\"",
            "qx_vod_ctl resume " + printable(item.entry_id)};
  }
  return {};
}
