// Requests to a remote server. Each one is a run of the HTTP client: the body goes to its standard
// input, the reply comes from its standard output.
#include <algorithm>
#include <cassert>
#include <cstdio>
#include <cstring>
#include <string>

#include "platform/sliding_window_v4.h"
#include "platform/transcode_settings.h"
#include "queue/queue_item.h"
#include "remote/download.h"
#include "remote/remote_step.h"
#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "rules/tool_commands.h"

namespace {

std::string line_of(const char* key, const std::string& value) {
  return std::string(key) + ":" + value;
}

// Appends one line of a request's body, truncated to leave one byte of the buffer free.
void write_line(sliding_window_v4* buffer, const std::string& line) {
  std::size_t const space = sliding_window_v4_can_write(buffer);
  std::size_t const length = std::min(line.size(), space == 0 ? 0 : space - 1);
  memcpy(buffer->write_pos, line.data(), length);
  buffer->write_pos += length;
}

bool start_remote_request(QueueItem& item, const std::vector<std::string>& lines,
                          const std::string& command) {
  item.close_proc_stdin();
  item.close_proc_stdout();
  if (!QueueItem::_std_open_anonpipe(item.proc_stdin_read_fd, item.proc_stdin_write_fd) ||
      !QueueItem::_std_init_buffer(item.proc_stdin_buffer, proc_buffer_size) ||
      !item.open_proc_stdout()) {
    item.close_proc_stdin();
    return false;
  }
  // Under this name, which the assertion's text shows.
  sliding_window_v4* const proc_stdin_buffer = item.proc_stdin_buffer;
  for (const std::string& line : lines) {
    // A value that contains a NUL is sent up to the NUL.
    write_line(proc_stdin_buffer, line.substr(0, line.find('\0')) + "\n");
  }
  write_line(proc_stdin_buffer, "\n");
  assert(sliding_window_v4_is_sane(proc_stdin_buffer));
  item.proc_argv.clear();
  item.proc_argv_prepare_std_curl_post_stdin();
  item.proc_argv.push_back(gateway_url(transcode_settings.address, command));
  return item.proc_spawn();
}

// The item was already added in an earlier run or attempt, so it continues from there.
bool adopt_remote_item(QueueItem& item) {
  QueueItem remote_item;
  if (read_scratch_item(item, remote_item) && (remote_item.sm.state == TRANSCODE_CANCELLED ||
                                               remote_item.sm.state == TRANSCODE_CANCELLING)) {
    item.sm.remote.set_state(REMOTE_COMMAND);
    fprintf(stderr, "Remote item is cancelled, commanding to restart\n");
    item.sm.remote_command = command_restart;
    item.user_wants_cancel = false;
    discard_download(item);  // the restarted job will produce a different result
    return true;
  }
  item.sm.remote.advance();
  return true;
}

}  // namespace

// The password appears in the command line, which only root and the tool itself can see.
void QueueItem::proc_argv_prepare_std_curl_post_stdin() {
  const std::vector<std::string> command =
      request_command(transcode_settings.user + ":" + transcode_settings.password);
  proc_argv.insert(proc_argv.end(), command.begin(), command.end());
}

bool QueueItem::proc_start_remote_transcode_add() {
  if (!remote_step_may_start(*this)) { return false; }
  if (!remote_info.entry_id.empty()) { return adopt_remote_item(*this); }
  return start_remote_request(
      *this,
      {line_of(key_upload_name, remote_info.name), line_of(key_delete_on_finish, "1"),
       line_of(key_profile, transcode_profile), line_of(key_state, name_of(TRANSCODE_READY))},
      command_add);
}

bool QueueItem::proc_start_remote_transcode_monitor() {
  return remote_step_may_start(*this) && !remote_info.entry_id.empty() &&
         start_remote_request(*this, {line_of(key_entry_id, remote_info.entry_id)}, command_list);
}

bool QueueItem::proc_start_remote_transcode_command() {
  if (!remote_command_may_start(*this)) { return false; }
  if (sm.remote_command.empty()) {
    sm.remote.set_state(REMOTE_MONITOR);
    return true;
  }
  return start_remote_request(*this, {line_of(key_entry_id, remote_info.entry_id)},
                              sm.remote_command);
}
