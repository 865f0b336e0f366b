// The queue file: the whole queue as one JSON document, read once at start.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "queue/queue_item.h"

// Replaces the queue file with the current queue, with restricted permissions (see
// create_guarded_file()). False, with the old file kept, if the temporary file beside it cannot be
// created, or if an unreadable queue file is still in place and cannot be set aside.
bool write_queue();

// An element of the queue file, not yet checked against the machine.
struct stored_item {
  std::string id;  // as it is in the file; may be empty
  std::unique_ptr<QueueItem> item;
  const char* refusal = nullptr;  // why the element is not a job, see read_item()
};

// Reads the elements into `items`, in queue order. False if the file cannot be opened. A file that
// is not a queue gives no elements, with a line on standard error. Anything that could not be read
// is set aside, with another line. If there are more elements than a queue holds, a line says which
// ones were left out.
bool read_queue_file(std::vector<stored_item>& items);
