#include "remote/remote_step.h"

#include "exec/readiness.h"
#include "queue/item_document.h"
#include "queue/queue_item.h"
#include "rules/fileops_words.h"

namespace {

bool has_remote_job(const QueueItem& item) {
  return !item.remote_info.ip.empty() && !item.remote_info.name.empty() &&
         !item.transcode_profile.empty();
}

}  // namespace

bool remote_step_may_start(QueueItem& item) {
  return !item.is_running() && item.validate_ready() == 1 && has_remote_job(item);
}

bool remote_command_may_start(QueueItem& item) {
  return !item.is_running() && is_valid_or_silent(item) && has_remote_job(item);
}

bool read_scratch_item(const QueueItem& item, QueueItem& scratch) {
  if (read_item(scratch, item.remote_info.json) != nullptr) { return false; }
  scratch.fileops_op = fileops_operation;
  scratch.fileops_write_status();
  return true;
}
