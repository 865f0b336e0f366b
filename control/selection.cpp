#include "control/selection.h"

#include <algorithm>
#include <cstdlib>

#include "platform/comm_socket_v4.h"
#include "queue/queue_item.h"
#include "queue/transcode_queue.h"
#include "rules/json_keys.h"

item_selection::item_selection(const comm_socket_v4_packet& request) {
  for (const auto& [name, value] : request.nv_pairs) {
    if (name == key_entry_id) {
      entry_id = value;
    } else if (name == key_fileops_job_id) {
      fileops_job_id = static_cast<std::int32_t>(strtoul(value.c_str(), nullptr, 0));
    }
  }
}

QueueItem* item_selection::find() const {
  if (!entry_id.empty()) { return transcode_queue_find_entry_id(entry_id.c_str()); }
  const auto found = transcode_queue_find_fileops_job_id_iterator(fileops_job_id);
  return found == transcode_queue.end() ? nullptr : *found;
}

request_pairs sorted_pairs(const comm_socket_v4_packet& request) {
  request_pairs pairs;
  for (const auto& [name, value] : request.nv_pairs) {
    pairs[name] = value;
  }
  return pairs;
}

request_pairs sorted_field_pairs(const comm_socket_v4_packet& request) {
  request_pairs pairs = sorted_pairs(request);
  pairs.erase(key_entry_id);
  pairs.erase(key_fileops_job_id);
  return pairs;
}

bool apply_pairs(QueueItem& item, const request_pairs& pairs) {
  return std::all_of(pairs.begin(), pairs.end(), [&item](const auto& pair) {
    return item.modify(pair.first.c_str(), pair.second.c_str());
  });
}
