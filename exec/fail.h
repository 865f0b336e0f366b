// How a step that failed ends its item.
#pragma once

#include <string>

#include "queue/queue_item.h"

// Cancels the item with `text` as the text for the user, and writes the job's status once. An item
// that is done stays done, but gets the text.
inline void fail(QueueItem& item, const std::string& text) {
  item.cancel_with(text);
  item.fileops_write_status();
}
