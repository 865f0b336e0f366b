// Updates a local job from the remote server's document for it.
#include "queue/queue_item.h"
#include "remote/remote_step.h"
#include "rules/texts.h"

namespace {

void follow_remote_state(QueueItem& item, const QueueItem& remote_item) {
  switch (remote_item.sm.state) {
  case TRANSCODE_READY:
  case TRANSCODE_REMOTE:  // a server that itself uses a remote server
  case TRANSCODE_TRANSCODING:
  case TRANSCODE_THUMBNAIL:
  case TRANSCODE_CLEANUP:
    item.paused = remote_item.paused;
    break;
  case TRANSCODE_DONE:
    item.paused = remote_item.paused;
    if (item.sm.remote.state == REMOTE_COMMAND) { item.sm.remote.set_state(REMOTE_MONITOR); }
    if (item.sm.remote.state == REMOTE_MONITOR) {
      item.state_message = "Remote: Transcode complete";
      item.sm.remote.advance();
    }
    break;
  case TRANSCODE_CANCELLED:
  case TRANSCODE_CANCELLING:
    item.user_wants_pause = false;
    item.paused = false;
    item.cancel_with(item.user_wants_cancel
                         ? text_cancelled_remotely
                         : "Transcode was cancelled remotely. " + remote_item.state_message);
    break;
  default:
    item.paused = remote_item.paused;
    item.cancel_with("Remote: unexpected remote state");
    break;
  }
}

}  // namespace

void QueueItem::on_remote_job_json_update() {
  QueueItem remote_item;
  if (!read_scratch_item(*this, remote_item)) { return; }
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
  follow_remote_state(*this, remote_item);
  fileops_write_status();
}
