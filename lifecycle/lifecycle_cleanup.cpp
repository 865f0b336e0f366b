// The "cleanup" phase of a job: removes the source and its metadata when it was told to.
#include "queue/process_state.h"
#include "queue/queue_item.h"

void QueueItem::idle_cleanup() {
  if (is_running()) { return; }
  switch (sm.cleanup.state) {
  case CLEANUP_INIT:
    sm.cleanup.set_state(CLEANUP_UNLINK_FILE);
    fileops_write_status();
    break;
  case CLEANUP_UNLINK_FILE:
    start_removal("Removing source file metadata as instructed...",
                  &QueueItem::proc_start_unlink_input_file_metadata, CLEANUP_UNLINK_META);
    break;
  case CLEANUP_UNLINK_META:
    start_removal("Removing source file as instructed...", &QueueItem::proc_start_unlink_input_file,
                  CLEANUP_DONE);
    break;
  default:
    finish_cleanup();
    break;
  }
}

void QueueItem::start_removal(const char* text, bool (QueueItem::*starter)(),
                              cleanup_states otherwise) {
  if (!delete_on_finish || input_file_not_exist()) {
    sm.cleanup.set_state(otherwise);
    fileops_write_status();
    return;
  }
  state_message = text;
  if (!(this->*starter)()) {
    cancel_with("unable to initiate removal");
    fileops_write_status();
  }
}

void QueueItem::finish_cleanup() {
  if (!user_wants_remove) {
    state_message = "Transcode complete";
    sm.set_state(TRANSCODE_DONE);
    fileops_write_status();
    return;
  }
  state_message.clear();
  sm.set_state(TRANSCODE_CLEARED);
  trigger_transcode_queue_scan();
  if (!fileops_job_dir.empty()) { fileops_remove_job(); }
  shutdown_proc();
  fileops_write_status();
}
