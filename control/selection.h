// Which item a request is about, and the fields that it gives.
#pragma once

#include <cstdint>
#include <map>
#include <string>

struct comm_socket_v4_packet;
class QueueItem;

// The request pairs that select an item; a later pair of a name replaces an earlier one.
struct item_selection {
  std::string entry_id;              // "entry id"; counts alone when it is not empty
  std::int32_t fileops_job_id = -1;  // "fileops job id", decimal, 0x hex or leading 0 octal

  explicit item_selection(const comm_socket_v4_packet& request);
  // True when the request names an item at all.
  bool is_given() const { return !entry_id.empty() || fileops_job_id >= 0; }
  // The item, null when there is no such item.
  QueueItem* find() const;
};

using request_pairs = std::map<std::string, std::string>;

// All pairs in byte order of their names; a name given twice keeps its last value.
request_pairs sorted_pairs(const comm_socket_v4_packet& request);

// The same without the pairs that select an item.
request_pairs sorted_field_pairs(const comm_socket_v4_packet& request);

// Applies the pairs to the item one by one; false at the first that it refuses, with those before
// it applied.
bool apply_pairs(QueueItem& item, const request_pairs& pairs);
