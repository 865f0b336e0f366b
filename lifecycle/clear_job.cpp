// The one way out of the queue for a job that was ready once.
#include "lifecycle/clear_job.h"

#include "queue/queue_item.h"

void clear_job(QueueItem& item) {
  item.sm.set_state(TRANSCODE_CLEARED);
  if (!item.fileops_job_dir.empty()) { item.fileops_remove_job(); }
  item.shutdown_proc();
}
