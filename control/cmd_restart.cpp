// "restart": gets a job going again.
#include "control/commands.h"
#include "control/reply.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"
#include "rules/control_words.h"
#include "rules/texts.h"

namespace {

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

// Restarts the item if its state allows it. A ready item needs nothing.
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

}  // namespace

void do_cmd_restart(const command_call& call) {
  if (restart(*call.item)) {
    reply_changed_item(call);
  } else {
    refuse(call.reply, call.command, status_cannot_be_cancelled);
  }
}
