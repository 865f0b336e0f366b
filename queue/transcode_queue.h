// The queue: the ordered list of all jobs, and look-ups in it.
#pragma once

#include <cstdint>
#include <list>

class QueueItem;

using queue_list = std::list<QueueItem*>;

// The items in queue order, owned. Null elements are tolerated everywhere and removed by the scan.
extern queue_list transcode_queue;

// The log line for a null element.
constexpr const char* null_item_warning = "WARNING: transcode queue has NULL pointer!\n";

// Counts changes of the queue's membership, so that clients can notice them.
extern std::uint32_t transcode_queue_mod_count;

// The first item with this entry id; the end of the queue if there is none. An empty id finds
// nothing.
queue_list::iterator transcode_queue_find_entry_id_iterator(const char* id);

// The same as a pointer; null if there is none.
QueueItem* transcode_queue_find_entry_id(const char* id);

// The first item with this file-operations job; the end of the queue if there is none. A negative
// id finds nothing.
queue_list::iterator transcode_queue_find_fileops_job_id_iterator(int id);
