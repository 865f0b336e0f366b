// Restores the jobs in the queue file, and puts interrupted ones back in line.
#include "lifecycle/restart.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include <sys/stat.h>

#include "exec/fail.h"
#include "exec/source_view.h"
#include "platform/clock.h"
#include "queue/item_document.h"
#include "queue/queue_file.h"
#include "queue/queue_item.h"
#include "queue/transcode_queue.h"
#include "rules/fileops_words.h"
#include "rules/texts.h"

namespace {

constexpr std::size_t longest_printed_id = 100;

// Nobody is served meanwhile. A thousand sources on a share that answers at once take as long.
constexpr std::uint64_t longest_looking_us = 5000000;

// Ensures that the item has a file-operations job with a directory. Returns null, or why the item
// is dropped.
const char* restore_job(QueueItem& item) {
  if (item.fileops_job_dir.empty() && !item.init_fileops_job()) {
    return "its file operation cannot be created";
  }
  struct stat status {};
  if (lstat(item.fileops_job_dir.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) {
    return nullptr;
  }
  if (item.sm.state == TRANSCODE_CANCELLED || item.sm.state == TRANSCODE_CANCELLING ||
      item.sm.state == TRANSCODE_DONE) {
    return "it is over and its file operation is gone";
  }
  item.state_message = text_operation_gone;
  if (!item.fileops_job_dir.empty()) { item.fileops_remove_job(); }
  item.sm.set_state(TRANSCODE_CANCELLED);
  item.init_fileops_job();  // if this fails the text says why, and the cancelled item stays
  return nullptr;
}

bool has_steps(const QueueItem& item) {
  return item.sm.state >= TRANSCODE_READY && item.sm.state <= TRANSCODE_CLEANUP;
}

// If the source does not answer, the item's next step waits for it and checks it; a cancelled item,
// which has none, stays as it is.
void check_source(QueueItem& item) {
  source_view source(item);
  item.source_unseen = !source.look() && has_steps(item);
  if (item.source_silent) { return; }
  if (source.file_error() != 0) {
    item.state_message = "Rejected: File has disappeared";
    item.sm.set_state(TRANSCODE_CANCELLED);
    item.input_file.clear();
  } else if (item.validate_ready() == 0 && !item.source_silent) {
    item.cancel();
  }
}

// Checks an item from the queue file against the current state of the machine. Returns null, or why
// the item is dropped.
const char* check_restored(QueueItem& item) {
  if (item.sm.state == TRANSCODE_INIT) {
    return "it was never made ready, or its state is unknown";
  }
  const char* const reason = restore_job(item);
  if (reason == nullptr && item.sm.state != TRANSCODE_DONE) { check_source(item); }
  return reason;
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
  if ((item.validate_ready() == 0 && !item.source_silent) || !item.ready()) {
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

// What the item of a document needs besides the document.
void complete(QueueItem& item) {
  item.fileops_op = fileops_operation;
  item.fileops_write_status();
}

// Ids come from a file: no longer than a line, and without what would begin another.
std::string printable(std::string id) {
  id.resize(std::min(id.size(), longest_printed_id));
  std::replace_if(
      id.begin(), id.end(), [](unsigned char c) { return c < ' '; }, '?');
  return id;
}

// Puts one element of the queue file into the queue, or says why not.
void restore(stored_item& stored, std::size_t position) {
  const char* reason = stored.refusal;
  const shared_look one_look;
  if (reason == nullptr) { reason = check_restored(*stored.item); }
  if (reason != nullptr) {
    fprintf(stderr, "Queue warning, item %zu (entry='%s') was dropped: %s\n", position,
            printable(stored.id).c_str(), reason);
    return;
  }
  complete(*stored.item);
  enqueue_restored(std::move(stored.item));
}

}  // namespace

void check_unseen_source(QueueItem& item) {
  if (!item.source_unseen || item.is_running() || !has_steps(item) ||
      monotonic_clock_us() < item.next_source_look) {
    return;
  }
  check_source(item);
  if (item.source_silent) { return; }
  if (has_steps(item)) {
    item.source_silent = true;  // the step does what it does after a silence
  } else {
    item.fileops_write_status();
  }
}

bool QueueItem::deserialize_json(const json11::Json& json, bool queue_file) {
  if (read_item(*this, json) != nullptr) { return false; }
  if (queue_file && check_restored(*this) != nullptr) { return false; }
  complete(*this);
  return true;
}

bool read_queue() {
  if (!transcode_queue.empty()) {
    fprintf(stderr, "BUG: Asked to read queue when queue is not empty\n");
    return false;
  }
  std::vector<stored_item> items;
  if (!read_queue_file(items)) { return false; }
  const look_budget budget(longest_looking_us);
  for (std::size_t i = 0; i < items.size(); ++i) {
    restore(items[i], i + 1);
  }
  return true;
}
