// The item that a request selects, by entry id or file-operations job, and the fields it sets.
#pragma once

#include <cstdint>
#include <map>
#include <string>

struct comm_socket_v4_packet;
class QueueItem;

// The request's pairs that select an item; a later pair replaces an earlier one with the same name.
struct item_selection {
  std::string entry_id;              // "entry id"; the only criterion if not empty
  std::int32_t fileops_job_id = -1;  // "fileops job id", decimal, 0x hex or leading 0 octal

  explicit item_selection(const comm_socket_v4_packet& request);
  // True if the request names an item.
  bool is_given() const { return !entry_id.empty() || fileops_job_id >= 0; }
  // The item; null if it does not exist.
  QueueItem* find() const;
};

using request_pairs = std::map<std::string, std::string>;

// All pairs in byte order of their names; for a repeated name, the last value.
request_pairs sorted_pairs(const comm_socket_v4_packet& request);

// The same, without the pairs that select an item.
request_pairs sorted_field_pairs(const comm_socket_v4_packet& request);

// Applies the pairs to the item one by one. False at the first one refused; those before it stay
// applied.
bool apply_pairs(QueueItem& item, const request_pairs& pairs);
