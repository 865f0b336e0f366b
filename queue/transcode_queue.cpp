#include "queue/transcode_queue.h"

#include <algorithm>
#include <cstring>

#include "queue/queue_item.h"

queue_list transcode_queue;
std::uint32_t transcode_queue_mod_count = 0;

queue_list::iterator transcode_queue_find_entry_id_iterator(const char* id) {
  return std::find_if(transcode_queue.begin(), transcode_queue.end(), [id](const QueueItem* item) {
    return item != nullptr && !item->entry_id.empty() && strcmp(item->entry_id.c_str(), id) == 0;
  });
}

QueueItem* transcode_queue_find_entry_id(const char* id) {
  const auto found = transcode_queue_find_entry_id_iterator(id);
  return found == transcode_queue.end() ? nullptr : *found;
}

queue_list::iterator transcode_queue_find_fileops_job_id_iterator(int id) {
  return std::find_if(transcode_queue.begin(), transcode_queue.end(), [id](const QueueItem* item) {
    return item != nullptr && item->fileops_job_id >= 0 && item->fileops_job_id == id;
  });
}
