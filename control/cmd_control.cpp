// "cancel", "restart", "pause" and "resume": the run of a job, as its user wants it.
#include "control/commands.h"
#include "control/reply.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"
#include "rules/texts.h"

namespace {

// Kept on purpose: a failed restart is refused with the same words. Effect: clients know one text
// for both.
constexpr char cannot_be_cancelled_text[] = "ITEM CANNOT BE CANCELLED";

// True for a job that the remote server has in hand.
bool is_cancelled_remotely(const QueueItem& item) {
  return item.sm.state == TRANSCODE_REMOTE && !item.remote_info.empty() &&
         (item.sm.remote.state == REMOTE_MONITOR || item.sm.remote.state == REMOTE_COMMAND);
}

// Has the server cancel the job; the rest follows from its answer.
bool cancel_remotely(QueueItem& item) {
  if (item.sm.remote.state == REMOTE_MONITOR) { return item.do_user_cancel(); }
  item.user_wants_cancel = true;  // a command is under way, this one follows it
  return true;
}

bool cancel_here(QueueItem& item) {
  if (!item.cancel()) { return false; }
  item.state_message = text_cancelled;  // after the cancel: it must survive it
  item.fileops_write_status();
  return true;
}

void unpause_for_restart(QueueItem& item) {
  if (item.paused) {
    item.state_message = text_resuming;
    item.waiting = true;
  }
  trigger_transcode_queue_scan();
  item.paused = false;
}

bool ready_for_restart(QueueItem& item) {
  item.user_wants_cancel = false;
  item.paused = false;
  trigger_transcode_queue_scan();
  return item.ready();
}

// Gets the item going again, as far as its state allows. A ready item needs nothing.
bool restart(QueueItem& item) {
  switch (item.sm.state) {
  case TRANSCODE_READY:
    return true;
  case TRANSCODE_TRANSCODING:
    unpause_for_restart(item);
    break;
  case TRANSCODE_INIT:
  case TRANSCODE_CANCELLED:
  case TRANSCODE_CANCELLING:
    if (!ready_for_restart(item)) { return false; }
    break;
  default:
    return false;
  }
  item.state_message = "Restarted by user";
  item.fileops_write_status();
  return true;
}

void reply_and_scan(const command_call& call, bool done) {
  if (!done) {
    refuse(call.reply, call.command, cannot_be_cancelled_text);
    return;
  }
  reply_item(call.reply, call.command, *call.item);
  trigger_transcode_queue_scan();
}

}  // namespace

void do_cmd_cancel(const command_call& call) {
  QueueItem& item = *call.item;
  if (item.sm.state == TRANSCODE_CLEANUP) {
    reply_and_scan(call, false);
  } else {
    reply_and_scan(call, is_cancelled_remotely(item) ? cancel_remotely(item) : cancel_here(item));
  }
}

void do_cmd_restart(const command_call& call) {
  reply_and_scan(call, restart(*call.item));
}

void do_cmd_pause(const command_call& call) {
  call.item->pause();
  call.item->fileops_write_status();
  reply_and_scan(call, true);
}

void do_cmd_resume(const command_call& call) {
  call.item->resume();
  call.item->fileops_write_status();
  reply_and_scan(call, true);
}
