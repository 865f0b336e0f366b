// Limits the length of the queue file's text.
#pragma once

class QueueItem;

// True if the queue's text stays within queue_text_size_limit when a field of `item` changes from
// `old_value` to `new_value`, or if the new value is no longer than the old one. The item need not
// be in the queue yet. Takes a fraction of a millisecond for a full queue of ordinary jobs.
bool has_room_in_queue_text(const QueueItem& item, const char* old_value, const char* new_value);
