#include "remote/remote_step.h"

#include "queue/queue_item.h"

bool remote_step_may_start(QueueItem& item) {
  return !item.is_running() && item.validate_ready() == 1 && !item.remote_info.ip.empty() &&
         !item.remote_info.name.empty() && !item.transcode_profile.empty();
}

bool read_scratch_item(const QueueItem& item, QueueItem& scratch) {
  return scratch.deserialize_json(item.remote_info.json, false);
}
