// The queue: the one ordered list of jobs, and its look-ups.
#pragma once

#include <cstdint>
#include <list>

class QueueItem;

using queue_list = std::list<QueueItem*>;

// The jobs in queue order, owned. A null element is tolerated everywhere and removed by the scan.
extern queue_list transcode_queue;

// What the log says of such an element.
constexpr const char* null_item_warning = "WARNING: transcode queue has NULL pointer!\n";

// Counts the changes of the queue's membership; clients use it to notice them.
extern std::uint32_t transcode_queue_mod_count;

// The first item whose entry id is `id`; the end of the queue when there is none. An empty id finds
// nothing.
queue_list::iterator transcode_queue_find_entry_id_iterator(const char* id);

// The same as an item, null when there is none.
QueueItem* transcode_queue_find_entry_id(const char* id);

// The first item that belongs to the file-operations job `id`; the end of the queue when there is
// none. A negative id finds nothing.
queue_list::iterator transcode_queue_find_fileops_job_id_iterator(int id);
