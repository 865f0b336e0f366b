// Computes the length of the queue's text without writing it.
#include "queue/queue_text_size.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "platform/json_bytes.h"
#include "queue/queue_item.h"
#include "queue/transcode_queue.h"
#include "rules/limits.h"

namespace {

// Upper bound for an item's keys, flags, numbers, state names and punctuation.
constexpr std::size_t fixed_size = 1024;
// The quotes and the separator after them.
constexpr std::size_t string_frame = 4;
// The longest number, with its separator.
constexpr std::size_t longest_number = 32;
constexpr std::size_t escape_size = 6;

// The length of an ASCII character after escaping.
std::size_t char_size(unsigned char c) {
  switch (c) {
  case '"':
  case '\\':
  case '\b':
  case '\f':
  case '\n':
  case '\r':
  case '\t':
    return 2;
  default:
    return c < 0x20 ? escape_size : 1;
  }
}

// The length of the other characters and bytes: escaped if they are not UTF-8, and U+2028 and
// U+2029 in any case. All characters with the first byte of these two are counted as if they were,
// too.
std::size_t written_size(std::string_view text) {
  const std::size_t length = utf8_length(text);
  return length == 0 || text[0] == '\xe2' ? escape_size : length;
}

std::size_t text_size(std::string_view text) {
  std::size_t size = string_frame;
  for (std::size_t i = 0; i < text.size();) {
    const auto first = static_cast<unsigned char>(text[i]);
    if (first < 0x80) {
      size += char_size(first);
      ++i;
    } else {
      size += written_size(text.substr(i));
      i += std::max<std::size_t>(utf8_length(text.substr(i)), 1);
    }
  }
  return size;
}

std::size_t list_size(const std::vector<std::string>& texts) {
  std::size_t size = 0;
  for (const std::string& text : texts) {
    size += text_size(text);
  }
  return size;
}

std::size_t document_size(const json11::Json& json) {
  std::size_t size = longest_number + (json.is_string() ? text_size(json.string_value()) : 0);
  for (const json11::Json& element : json.array_items()) {
    size += document_size(element);
  }
  for (const auto& [key, value] : json.object_items()) {
    size += text_size(key) + document_size(value);
  }
  return size;
}

std::size_t item_size(const QueueItem& item) {
  return fixed_size + text_size(item.entry_id) + text_size(item.input_file) +
         text_size(item.output_file) + text_size(item.transcode_profile) +
         list_size(item.quoted_profile) + text_size(item.state_message) +
         list_size(item.proc_argv) + text_size(item.remote_info.ip) +
         text_size(item.remote_info.name) + text_size(item.remote_info.entry_id) +
         document_size(item.remote_info.json);
}

}  // namespace

bool has_room_in_queue_text(const QueueItem& item, const char* old_value, const char* new_value) {
  std::size_t const old_size = text_size(old_value);
  std::size_t const new_size = text_size(new_value);
  if (new_size <= old_size) { return true; }
  std::size_t size = item_size(item) - old_size + new_size;
  for (const QueueItem* other : transcode_queue) {
    if (other != nullptr && other != &item) { size += item_size(*other); }
  }
  return size <= queue_text_size_limit;
}
