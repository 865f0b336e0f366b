// Sends a job's source to the remote server.
#include "exec/child_process.h"
#include "queue/queue_item.h"
#include "remote/remote_step.h"
#include "rules/tool_commands.h"

bool QueueItem::proc_start_remote_transcode_upload() {
  if (!remote_step_may_start(*this)) { return false; }
  if (uploaded || !remote_info.entry_id.empty()) {
    sm.remote.advance();
    return true;
  }
  prepare_silent_child(*this);
  proc_argv = upload_command(remote_info.name, input_file);
  state_message = "Uploading file to remote for transcode";
  fileops_write_status();
  return proc_spawn();
}
