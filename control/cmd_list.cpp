// "list": one item, or a page of the queue with its length and its modify counter.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "control/commands.h"
#include "control/reply.h"
#include "control/selection.h"
#include "platform/comm_socket_v4.h"
#include "queue/queue_item.h"
#include "queue/transcode_queue.h"
#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "rules/limits.h"

namespace {

// Indices of the first and the last item of the page, in queue order from 0.
struct page_range {
  std::uint64_t start = 0;
  std::uint64_t end = 15;
};

// Numbers may have a base prefix. One that is negative or too large is a position past the end of
// any queue.
page_range read_range(const comm_socket_v4_packet& request) {
  page_range range;
  for (const auto& [name, value] : request.nv_pairs) {
    if (name == key_start) {
      range.start = strtoull(value.c_str(), nullptr, 0);
    } else if (name == key_end) {
      range.end = strtoull(value.c_str(), nullptr, 0);
    }
  }
  range.start = std::min(range.start, range.end);
  return range;
}

json11::Json::array list_range(const page_range& range) {
  json11::Json::array list;
  std::uint64_t index = 0;
  for (const QueueItem* item : transcode_queue) {
    if (list.size() == most_listed_jobs) { break; }
    if (item != nullptr && index >= range.start && index <= range.end) {
      QueueItem::json_object keys;
      item->serialize_json(keys, false);
      list.emplace_back(keys);
    }
    ++index;
  }
  return list;
}

std::string page_text(const page_range& range) {
  json11::Json::array const list = list_range(range);
  json11::Json::object page{{key_list, list},
                            {key_modify_counter, static_cast<double>(transcode_queue_mod_count)},
                            {key_total, static_cast<double>(transcode_queue.size())}};
  if (!list.empty()) { page[key_start] = static_cast<double>(range.start); }
  return json11::Json(page).dump();
}

}  // namespace

void do_cmd_list(const command_call& call) {
  const item_selection selection(call.request);
  if (selection.is_given()) {
    const QueueItem* const item = selection.find();
    if (item == nullptr) {
      refuse(call.reply, call.command, status_not_found);
    } else {
      reply_item(call.reply, call.command, *item);
    }
    return;
  }
  std::string const page = page_text(read_range(call.request));
  comm_socket_v4_packet_begin_writing(&call.reply, 0, call.command, status_ok);
  comm_socket_v4_packet_write_argv_end(&call.reply);
  comm_socket_v4_packet_write_data_binary(&call.reply, page.data(), page.size());
  comm_socket_v4_packet_write_end(&call.reply);
}
