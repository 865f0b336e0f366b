// The requests to a remote server: each is one run of the HTTP client, its body fed to its standard
// input and its reply read from its standard output.
#include <algorithm>
#include <cassert>
#include <cstdio>
#include <cstring>
#include <string>

#include "platform/sliding_window_v4.h"
#include "queue/queue_item.h"
#include "remote/download.h"
#include "service/transcode_settings.h"

namespace {

// Appends one line of a request's body; what would run past the buffer's end less one byte is cut.
void write_line(sliding_window_v4* buffer, const std::string& line) {
  std::size_t const space = sliding_window_v4_can_write(buffer);
  std::size_t const length = std::min(line.size(), space == 0 ? 0 : space - 1);
  memcpy(buffer->write_pos, line.data(), length);
  buffer->write_pos += length;
}

}  // namespace

// The password stands in the command line, where only root and the tool itself can see it.
void QueueItem::proc_argv_prepare_std_curl_post_stdin() {
  proc_argv.insert(proc_argv.end(),
                   {"/usr/bin/curl", "--silent", "-i", "-X", "POST", "--data-binary", "@-",
                    "--user", transcode_settings.user + ":" + transcode_settings.password});
}

bool QueueItem::remote_step_may_start() {
  return !is_running() && validate_ready() == 1 && !remote_info.ip.empty() &&
         !remote_info.name.empty() && !transcode_profile.empty();
}

bool QueueItem::start_remote_request(const std::vector<std::string>& lines,
                                     const std::string& command) {
  close_proc_stdin();
  close_proc_stdout();
  if (!_std_open_anonpipe(proc_stdin_read_fd, proc_stdin_write_fd) ||
      !_std_init_buffer(proc_stdin_buffer, proc_buffer_size) || !open_proc_stdout()) {
    close_proc_stdin();
    return false;
  }
  for (const std::string& line : lines) {
    // Of a value that holds a NUL the server is told what stands in front of it.
    write_line(proc_stdin_buffer, line.substr(0, line.find('\0')) + "\n");
  }
  write_line(proc_stdin_buffer, "\n");
  assert(sliding_window_v4_is_sane(proc_stdin_buffer));
  proc_argv.clear();
  proc_argv_prepare_std_curl_post_stdin();
  proc_argv.push_back("http://" + transcode_settings.address +
                      "/reelstack4/vod.cgi?c=vodsrv&vc=" + command);
  return proc_spawn();
}

bool QueueItem::proc_start_remote_transcode_add() {
  if (!remote_step_may_start()) { return false; }
  if (!remote_info.entry_id.empty()) { return take_up_remote_item(); }
  return start_remote_request({"*name:" + remote_info.name, "delete on finish:1",
                               "transcode profile:" + transcode_profile, "transcode state:ready"},
                              "add");
}

// The item was added before, by an earlier run or an earlier try: it goes on where it stands.
bool QueueItem::take_up_remote_item() {
  QueueItem remote_item;
  if (remote_item.deserialize_json(remote_info.json, false) &&
      (remote_item.sm.state == TRANSCODE_CANCELLED ||
       remote_item.sm.state == TRANSCODE_CANCELLING)) {
    sm.remote.set_state(REMOTE_COMMAND);
    fprintf(stderr, "Remote item is cancelled, commanding to restart\n");
    sm.remote_command = "restart";
    user_wants_cancel = false;
    discard_download(*this);  // the restart makes another result
    return true;
  }
  sm.remote.advance();
  return true;
}

bool QueueItem::proc_start_remote_transcode_monitor() {
  return remote_step_may_start() && !remote_info.entry_id.empty() &&
         start_remote_request({"entry id:" + remote_info.entry_id}, "list");
}

bool QueueItem::proc_start_remote_transcode_command() {
  if (!remote_step_may_start()) { return false; }
  if (sm.remote_command.empty()) {
    sm.remote.set_state(REMOTE_MONITOR);
    return true;
  }
  return start_remote_request({"entry id:" + remote_info.entry_id}, sm.remote_command);
}
