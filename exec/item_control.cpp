// Cancel, pause and resume an item, at a user's request or after a failure.
#include "exec/item_control.h"

#include <csignal>

#include "exec/held_signal.h"
#include "exec/stuck_child.h"
#include "queue/queue_item.h"
#include "queue/slots.h"
#include "rules/control_words.h"
#include "rules/texts.h"

namespace {

// A metadata identification or a profile listing is short and harmless, so it may finish; the
// cancel completes after it has been reaped.
bool is_left_to_finish(const QueueItem::transcode_state_machine& proc_sm) {
  return proc_sm.state == TRANSCODE_READY &&
         (proc_sm.ready.state == READY_CHECK_META || proc_sm.ready.state == READY_QUERY_PROFILES);
}

}  // namespace

bool QueueItem::cancel() {
  input_meta.close();
  if (sm.state == TRANSCODE_DONE) { return false; }
  if (sm.state == TRANSCODE_CANCELLED || sm.state == TRANSCODE_CANCELLING) { return true; }
  if (sm.state <= TRANSCODE_READY) { judged_source = file_identity(); }  // nothing was transcoded
  sm.set_state(TRANSCODE_CANCELLING);
  if (is_left_to_finish(proc_sm)) {
    limit_last_step(*this);
  } else {
    shutdown_proc();
  }
  if (!is_running()) {
    sm.set_state(TRANSCODE_CANCELLED);
    item_in_action_remove_self(this);
  }
  return true;
}

void QueueItem::cancel_with(const std::string& text) {
  cancel();
  state_message = text;  // after the cancel, so that nothing overwrites it
}

void finish_pending_cancel(QueueItem& item) {
  if (item.sm.state == TRANSCODE_CANCELLING && !item.is_running()) {
    item.sm.set_state(TRANSCODE_CANCELLED);
    item_in_action_remove_self(&item);
    item.fileops_write_status();
  }
}

bool QueueItem::pause() {
  if (sm.state == TRANSCODE_REMOTE && sm.remote.state == REMOTE_MONITOR) {
    sm.remote.set_state(REMOTE_COMMAND);
    sm.remote_command = command_pause;
    user_wants_pause = true;
    return true;
  }
  if (sm.state == TRANSCODE_REMOTE && sm.remote.state == REMOTE_COMMAND) {
    user_wants_pause = true;
    return true;
  }
  const bool in_transfer = sm.state == TRANSCODE_REMOTE &&
                           (sm.remote.state == REMOTE_UPLOAD || sm.remote.state == REMOTE_ADD ||
                            sm.remote.state == REMOTE_DOWNLOAD);
  if (!in_transfer) { state_message = "Paused"; }
  if (sm.state == TRANSCODE_TRANSCODING) {
    // The transcoder suspends itself and keeps its progress. It holds no slot while suspended, so
    // the next ready item may start.
    item_in_action_remove_self(this);
    tell_transcoder(*this, SIGUSR1);
  }
  paused = true;
  return true;
}

bool QueueItem::resume() {
  if (sm.state == TRANSCODE_REMOTE && sm.remote.state == REMOTE_MONITOR) {
    sm.remote.set_state(REMOTE_COMMAND);
    sm.remote_command = command_resume;
    user_wants_pause = false;
    return false;
  }
  if (sm.state == TRANSCODE_REMOTE && sm.remote.state == REMOTE_COMMAND) {
    user_wants_pause = false;
    return false;
  }
  if (sm.state == TRANSCODE_TRANSCODING && paused) {
    state_message = text_resuming;
    waiting = true;
  } else if (sm.state == TRANSCODE_READY && paused) {
    state_message = text_ready;
    waiting = false;
  }
  paused = false;
  return true;
}

bool QueueItem::do_user_cancel() {
  sm.remote.set_state(REMOTE_COMMAND);
  sm.remote_command = command_cancel;
  user_wants_cancel = true;
  return true;
}
