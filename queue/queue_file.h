// The queue file: the whole queue as one JSON document, written whole and read once at start.
#pragma once

#include <json11.hpp>

// Replaces the queue file by the queue as it is, readable by few (see create_guarded_file()).
// False, with the old file kept, when the temporary file beside it cannot be made, or a file that
// could not be read is in its place and cannot be set aside.
bool write_queue();

// Reads the documents of the jobs into `list`, in queue order. False when the file cannot be
// opened. A file that is no queue gives an empty list, with a line on standard error. Whatever is
// there and could not be read is set aside, with another line.
bool read_queue_file(json11::Json::array& list);
