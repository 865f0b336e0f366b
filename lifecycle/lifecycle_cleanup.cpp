// The "cleanup" phase of a job: removes the source and its metadata if the job says so.
#include "exec/fail.h"
#include "exec/source_view.h"
#include "lifecycle/clear_job.h"
#include "lifecycle/phases.h"
#include "queue/process_state.h"
#include "queue/queue_item.h"

namespace {

void start_removal(QueueItem& item, const char* text, bool (QueueItem::*starter)(),
                   cleanup_states otherwise) {
  source_view source(item);
  if (item.delete_on_finish && !source.look()) {
    wait_for_source(item);
    return;
  }
  if (!item.delete_on_finish || source.is_missing()) {
    item.sm.cleanup.set_state(otherwise);
    item.fileops_write_status();
    return;
  }
  item.state_message = text;
  if (!(item.*starter)()) { fail_start(item, "unable to initiate removal"); }
}

void finish_cleanup(QueueItem& item) {
  if (!item.user_wants_remove) {
    item.state_message = "Transcode complete";
    item.sm.set_state(TRANSCODE_DONE);
    item.fileops_write_status();
    return;
  }
  item.state_message.clear();
  clear_job(item);
  trigger_transcode_queue_scan();
  item.fileops_write_status();
}

}  // namespace

void idle_cleanup(QueueItem& item) {
  if (item.is_running()) { return; }
  switch (item.sm.cleanup.state) {
  case CLEANUP_INIT:
    item.sm.cleanup.set_state(CLEANUP_UNLINK_FILE);
    item.fileops_write_status();
    break;
  case CLEANUP_UNLINK_FILE:
    start_removal(item, "Removing source file metadata as instructed...",
                  &QueueItem::proc_start_unlink_input_file_metadata, CLEANUP_UNLINK_META);
    break;
  case CLEANUP_UNLINK_META:
    start_removal(item, "Removing source file as instructed...",
                  &QueueItem::proc_start_unlink_input_file, CLEANUP_DONE);
    break;
  default:
    finish_cleanup(item);
    break;
  }
}
