#include "queue/queue_text.h"

#include <ctime>

#include "platform/text.h"
#include "queue/queue_item.h"
#include "queue/transcode_queue.h"
#include "rules/json_keys.h"
#include "rules/json_text.h"
#include "rules/limits.h"

namespace {

// As much of a status text as a person would read, and more than any server needs for an id.
constexpr std::size_t kept_of_text = 1000;

std::string time_text() {
  const time_t now = time(nullptr);
  struct tm parts {};
  char text[64] = "";
  if (localtime_r(&now, &parts) == nullptr || asctime_r(&parts, text) == nullptr) { return ""; }
  return chomp(text);
}

void leave_out_what_can_be_missed(QueueItem::json_object& keys, const QueueItem& item) {
  keys[key_process_argv] = json11::Json::array();
  keys[key_quoted_profiles] = json11::Json::array();
  if (item.sm.state == TRANSCODE_READY) {
    keys[key_ready_step] = name_of(READY_INIT);  // from which the profiles are listed again
  }
  keys[key_text] = item.state_message.substr(0, kept_of_text);
  if (!item.remote_info.empty()) {
    json11::Json::object remote = keys[key_remote_job].object_items();
    remote.erase(key_remote_document);
    remote[key_entry_id] = item.remote_info.entry_id.substr(0, kept_of_text);
    keys[key_remote_job] = remote;
  }
  if (item.sm.state == TRANSCODE_REMOTE && item.sm.remote.state == REMOTE_DOWNLOAD) {
    // The result's path is only in the document, so the server has to be asked again.
    keys[key_remote_step] = name_of(REMOTE_MONITOR);
  }
}

// What json_shape counts in the written text, or more.
std::size_t elements_of(const json11::Json& json) {
  std::size_t count = 1;
  for (const json11::Json& element : json.array_items()) {
    count += 1 + elements_of(element);
  }
  for (const auto& [key, value] : json.object_items()) {
    count += 1 + elements_of(value);
  }
  return count;
}

std::string text_of_queue(bool is_whole) {
  json11::Json::array list;
  for (const QueueItem* item : transcode_queue) {
    if (item == nullptr || item->sm.state == TRANSCODE_INIT ||
        item->sm.state == TRANSCODE_CLEARED) {
      continue;
    }
    QueueItem::json_object keys;
    item->serialize_json(keys, true);
    if (!is_whole || elements_of(keys) > most_item_elements) {
      leave_out_what_can_be_missed(keys, *item);
    }
    list.emplace_back(keys);
  }
  return json_text(json11::Json::object{{key_list, list}, {key_time, time_text()}});
}

}  // namespace

std::string queue_text() {
  std::string text = text_of_queue(true);
  if (text.size() > queue_file_size_limit) { text = text_of_queue(false); }
  return text;
}
