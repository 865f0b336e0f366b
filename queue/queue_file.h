// The queue file: the whole queue as one JSON document, read once at start.
#pragma once

#include <json11.hpp>

// Replaces the queue file with the current queue, with restricted permissions (see
// create_guarded_file()). False, with the old file kept, if the temporary file beside it cannot be
// created, or if an unreadable queue file is still in place and cannot be set aside.
bool write_queue();

// Reads the jobs' documents into `list`, in queue order. False if the file cannot be opened. A file
// that is not a queue gives an empty list, with a line on standard error. Anything that could not
// be read is set aside, with another line.
bool read_queue_file(json11::Json::array& list);
