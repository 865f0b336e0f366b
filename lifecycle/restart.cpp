// Restores the jobs in the queue file, and puts interrupted ones back in line.
#include "lifecycle/restart.h"

#include <cstdio>
#include <memory>

#include <sys/stat.h>

#include "exec/fail.h"
#include "queue/item_document.h"
#include "queue/queue_file.h"
#include "queue/queue_item.h"
#include "queue/transcode_queue.h"
#include "rules/fileops_words.h"
#include "rules/texts.h"

namespace {

// Ensures that the item has a file-operations job with a directory. False drops the item.
bool restore_job(QueueItem& item) {
  if (item.fileops_job_dir.empty() && !item.init_fileops_job()) { return false; }
  struct stat status {};
  if (lstat(item.fileops_job_dir.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) { return true; }
  if (item.sm.state == TRANSCODE_CANCELLED || item.sm.state == TRANSCODE_CANCELLING ||
      item.sm.state == TRANSCODE_DONE) {
    return false;
  }
  item.state_message = text_operation_gone;
  if (!item.fileops_job_dir.empty()) { item.fileops_remove_job(); }
  item.sm.set_state(TRANSCODE_CANCELLED);
  item.init_fileops_job();  // if this fails the text says why, and the cancelled item stays
  return true;
}

// Checks an item from the queue file against the current state of the machine. False drops the
// item.
bool check_restored(QueueItem& item) {
  if (item.sm.state == TRANSCODE_INIT || !restore_job(item)) { return false; }
  if (item.sm.state == TRANSCODE_DONE) { return true; }
  struct stat status {};
  if (lstat(item.input_file.c_str(), &status) != 0) {
    item.state_message = "Rejected: File has disappeared";
    item.sm.set_state(TRANSCODE_CANCELLED);
    item.input_file.clear();
  } else if (item.validate_ready() == 0) {
    item.cancel();
  }
  return true;
}

// An interrupted transcode starts over. True if it goes to the front of the queue.
bool put_back_in_line(QueueItem& item) {
  item.sm.set_state(TRANSCODE_READY);
  item.sm.ready.set_state(READY_INIT);
  // Kept on purpose: the two texts for an item that is not paused are swapped. Effect: an item that
  // was waiting for its turn is shown as interrupted, and the other way round.
  if (item.paused) {
    item.state_message = text_restart_on_resume;
  } else if (item.waiting) {
    item.state_message = "Transcoding will restart, item was interrupted";
  } else {
    item.state_message = "Transcoding will restart, waiting for turn";
  }
  if (item.validate_ready() == 0 || !item.ready()) {
    fail(item, "Unable to resume transcode");
    return false;
  }
  return !item.waiting && !item.paused && item.approved;
}

// Adds one restored item to the queue.
void enqueue_restored(std::unique_ptr<QueueItem> restored) {
  QueueItem* const item = restored.release();
  bool at_front = false;
  ++transcode_queue_mod_count;
  if (item->sm.state == TRANSCODE_TRANSCODING) {
    at_front = put_back_in_line(*item);
  } else if (item->sm.state == TRANSCODE_READY) {
    item->state_message = item->paused ? text_restart_on_resume : text_ready;
    item->fileops_write_status();
  }
  transcode_queue.insert(at_front ? transcode_queue.begin() : transcode_queue.end(), item);
}

}  // namespace

bool QueueItem::deserialize_json(const json11::Json& json, bool queue_file) {
  if (!read_item(*this, json) || (queue_file && !check_restored(*this))) { return false; }
  fileops_op = fileops_operation;
  fileops_write_status();
  return true;
}

bool read_queue() {
  if (!transcode_queue.empty()) {
    fprintf(stderr, "BUG: Asked to read queue when queue is not empty\n");
    return false;
  }
  json11::Json::array list;
  if (!read_queue_file(list)) { return false; }
  for (const json11::Json& document : list) {
    auto item = std::make_unique<QueueItem>();
    if (item->deserialize_json(document, true)) { enqueue_restored(std::move(item)); }
  }
  return true;
}
