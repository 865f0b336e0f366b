// The queue file: the whole queue as one JSON document, written whole and read once at start.
#pragma once

// Replaces the queue file by the queue as it is, readable by few (see create_guarded_file()).
// False, with the old file kept, when the temporary file beside it cannot be made, or a file that
// could not be read is in its place and cannot be set aside.
bool write_queue();

// Fills the empty queue from the queue file; interrupted transcodes go back to "ready", at the
// front when they may start by themselves. False when there was nothing to read: the queue is not
// empty, or the file cannot be opened. A file that is no queue leaves the queue empty, with a line
// on standard error. Whatever is there and could not be read is set aside, with another line.
bool read_queue();
