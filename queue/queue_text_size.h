// How long the queue file's text may become.
#pragma once

class QueueItem;

// True when the queue's text stays within queue_text_size_limit if a field of `item` that holds
// `old_value` becomes `new_value`, or if the new value is no longer than the old one. The item need
// not be in the queue yet. Takes a fraction of a millisecond for a full queue of ordinary jobs.
bool has_room_in_queue_text(const QueueItem& item, const char* old_value, const char* new_value);
