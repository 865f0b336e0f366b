// What the remote server says of a job becomes the state of the local one.
#include "queue/queue_item.h"

// Kept on purpose: reading a document writes the status of the job that it names, as the reading of
// any item does, wherever a remote document is read. Effect: a document with a "fileops job id",
// which older gateways hand out, overwrites the status file of this server's job of that number
// where there is one; and one whose output has the same path here overwrites its summary.
void QueueItem::on_remote_job_json_update() {
  QueueItem remote_item;
  if (!remote_item.deserialize_json(remote_info.json, false)) { return; }
  if (remote_item.entry_id != remote_info.entry_id) {
    cancel_with("Remote: entry ID changed");
    return;
  }
  progress = remote_item.progress;
  state_message = "Remote: " + remote_item.state_message + (remote_item.paused ? " (paused)" : "");
  if (sm.state != TRANSCODE_REMOTE) {
    paused = remote_item.paused;
    return;
  }
  follow_remote_state(remote_item);
  fileops_write_status();
}

void QueueItem::follow_remote_state(const QueueItem& remote_item) {
  switch (remote_item.sm.state) {
  case TRANSCODE_READY:
  case TRANSCODE_REMOTE:  // a server that hands its jobs on
  case TRANSCODE_TRANSCODING:
  case TRANSCODE_THUMBNAIL:
  case TRANSCODE_CLEANUP:
    paused = remote_item.paused;
    break;
  case TRANSCODE_DONE:
    paused = remote_item.paused;
    if (sm.remote.state == REMOTE_COMMAND) { sm.remote.set_state(REMOTE_MONITOR); }
    if (sm.remote.state == REMOTE_MONITOR) {
      state_message = "Remote: Transcode complete";
      sm.remote.advance();
    }
    break;
  case TRANSCODE_CANCELLED:
  case TRANSCODE_CANCELLING:
    user_wants_pause = false;
    paused = false;
    cancel_with(user_wants_cancel
                    ? "Transcode cancelled, remote end cancelled"
                    : "Transcode was cancelled remotely. " + remote_item.state_message);
    break;
  default:
    paused = remote_item.paused;
    cancel_with("Remote: unexpected remote state");
    break;
  }
}
