// "list": one item, or a page of the queue with its length and its modify counter.
#include <algorithm>
#include <cstddef>
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

// The objects of a page, and how many they are.
struct page_list {
  std::string text;
  std::size_t jobs = 0;
};

page_list list_range(const page_range& range) {
  page_list list;
  std::uint64_t index = 0;
  for (const QueueItem* item : transcode_queue) {
    if (list.jobs == most_listed_jobs) { break; }
    if (item != nullptr && index >= range.start && index <= range.end) {
      list.text += list.jobs == 0 ? "" : ", ";
      item->serialize_to_string(list.text, false);
      ++list.jobs;
    }
    ++index;
  }
  return list;
}

void add_number(std::string& page, const char* key, double value) {
  page.append(", \"").append(key).append("\": ");
  json11::Json(value).dump(page);
}

// The keys are in byte order, as in every text of the JSON library.
std::string page_text(const page_range& range) {
  const page_list list = list_range(range);
  std::string page = std::string("{\"") + key_list + "\": [" + list.text + "]";
  add_number(page, key_modify_counter, static_cast<double>(transcode_queue_mod_count));
  if (list.jobs != 0) { add_number(page, key_start, static_cast<double>(range.start)); }
  add_number(page, key_total, static_cast<double>(transcode_queue.size()));
  return page + "}";
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
