// "remove": takes a job out of the queue, through "cleanup" if its source is deleted too.
#include "control/commands.h"
#include "control/reply.h"
#include "lifecycle/clear_job.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"
#include "rules/control_words.h"

namespace {

bool is_busy(const QueueItem& item) {
  return item.sm.state > TRANSCODE_CANCELLING && item.is_running();
}

// Only a job that may have touched its source and is not finished has a source to remove.
bool needs_cleanup(const QueueItem& item) {
  return item.delete_on_finish && item.sm.state >= TRANSCODE_CANCELLED &&
         item.sm.state <= TRANSCODE_THUMBNAIL;
}

void start_cleanup(QueueItem& item) {
  // Before its transcode, the source is the file that is there now.
  if (item.sm.state == TRANSCODE_READY) { item.judged_source = file_identity(); }
  item.sm.set_state(TRANSCODE_CLEANUP);
  item.sm.cleanup.set_state(CLEANUP_INIT);
}

}  // namespace

void do_cmd_remove(const command_call& call) {
  QueueItem& item = *call.item;
  if (is_busy(item)) {
    refuse(call.reply, call.command, status_busy);
    return;
  }
  reply_ok(call.reply, call.command);
  if (item.sm.state != TRANSCODE_CLEARED && item.sm.state != TRANSCODE_CLEANUP) {
    item.user_wants_remove = true;
    if (needs_cleanup(item)) {
      start_cleanup(item);
    } else {
      clear_job(item);
    }
    trigger_transcode_queue_scan();
  }
  trigger_background_write_queue();
}
