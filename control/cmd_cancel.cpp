// "cancel": ends a job, here or on the remote server.
#include "control/commands.h"
#include "control/reply.h"
#include "queue/queue_item.h"
#include "rules/control_words.h"
#include "rules/texts.h"

namespace {

// True if the job currently exists on the remote server.
bool is_cancelled_remotely(const QueueItem& item) {
  return item.sm.state == TRANSCODE_REMOTE && !item.remote_info.empty() &&
         (item.sm.remote.state == REMOTE_MONITOR || item.sm.remote.state == REMOTE_COMMAND);
}

// Asks the server to cancel the job; its reply determines what happens next.
bool cancel_remotely(QueueItem& item) {
  if (item.sm.remote.state == REMOTE_MONITOR) { return item.do_user_cancel(); }
  item.user_wants_cancel = true;  // ends the job here after the command in progress
  return true;
}

bool cancel_here(QueueItem& item) {
  if (!item.cancel()) { return false; }
  item.state_message = text_cancelled;  // after the cancel, so that nothing overwrites it
  item.fileops_write_status();
  return true;
}

// False in "cleanup", where the job is all but done.
bool cancel_item(QueueItem& item) {
  if (item.sm.state == TRANSCODE_CLEANUP) { return false; }
  return is_cancelled_remotely(item) ? cancel_remotely(item) : cancel_here(item);
}

}  // namespace

void do_cmd_cancel(const command_call& call) {
  if (cancel_item(*call.item)) {
    reply_changed_item(call);
  } else {
    refuse(call.reply, call.command, status_cannot_be_cancelled);
  }
}
