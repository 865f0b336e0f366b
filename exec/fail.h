// Cancels an item because a step failed.
#pragma once

#include <string>

#include "queue/queue_item.h"

// Cancels the item, sets `text` as the status text and writes the job's status once. An item that
// is already done stays done, but gets the text.
inline void fail(QueueItem& item, const std::string& text) {
  item.cancel_with(text);
  item.fileops_write_status();
}

// The same for a step that could not be started. A step that only waits for its source has not
// failed.
inline void fail_start(QueueItem& item, const std::string& text) {
  if (!item.source_silent) { fail(item, text); }
}
