// Fetches the finished file from the remote server, and follows the download tool's progress.
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "queue/queue_item.h"
#include "service/transcode_settings.h"

namespace {

// The percentage out of a line like " 3150K .......... .......... 2% 1.21M 1m40s": the amount so
// far, the dots, the percentage. False for a line of another form.
bool parse_dot_line(char const* line, std::int32_t& progress) {
  char const* at = line + strspn(line, " ");
  at += strspn(at, "0123456789");
  at += *at == 'K' ? 1 : 0;
  at += strspn(at, " ");
  at += strspn(at, "., ");
  if (*at < '0' || *at > '9') {
    return false;
  }
  char* end = nullptr;
  long const percent = strtol(at, &end, 10);
  if (*end != '%') {
    return false;
  }
  progress = percent > 100 ? progress_complete : static_cast<std::int32_t>(percent) * 100;
  return true;
}

}  // namespace

bool QueueItem::proc_start_remote_transcode_download() {
  if (!remote_step_may_start() || remote_info.entry_id.empty() || remote_info.json.is_null()) {
    return false;
  }
  QueueItem remote_item;
  if (!remote_item.deserialize_json(remote_info.json, false) || remote_item.output_file.empty()) {
    return false;
  }
  close_proc_stdin();
  close_proc_stdout();
  if (!open_proc_stdout()) {
    return false;
  }
  proc_stderr_to_stdout = true;  // the tool writes its progress there
  proc_argv = {"/usr/bin/wget",
               "--continue",
               "--progress=dot",
               "--output-document=" + output_file,
               "--user=" + transcode_settings.user,
               "--password=" + transcode_settings.password,
               "ftp://" + transcode_settings.address + "/" + remote_item.output_file};
  state_message = "Downloading transcoded file...";
  fileops_write_status();
  return proc_spawn();
}

void QueueItem::read_download_progress() {
  bool changed = false;
  while (char const* line = proc_stdout_getline()) {
    fprintf(stderr, "STDOUT WGET: %s\n", line);
    std::int32_t new_progress = 0;
    if (parse_dot_line(line, new_progress) && new_progress != progress) {
      progress = new_progress;
      changed = true;
    }
  }
  if (changed) {
    fileops_write_status();
  }
}
