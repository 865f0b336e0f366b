// Finds the job of an upload by paging through the queue.
#include "tools/vod_cgi/upload_lookup.h"

#include "rules/json_keys.h"
#include "tools/vod_cgi/queue_pages.h"

comm_client_result find_job_of(comm_client_v4& client, const std::string& input_file,
                               std::uint64_t deadline_us, std::string& entry_id) {
  entry_id.clear();
  std::size_t room = most_queue_bytes;
  for (int start = 0;; start += queue_page_size) {
    json11::Json page;
    const comm_client_result result = read_queue_page(client, start, deadline_us, room, page);
    if (result != comm_client_result::ok) { return result; }
    const json11::Json::array& items = page[key_list].array_items();
    for (const json11::Json& item : items) {
      if (item[key_input_file].string_value() == input_file) {
        entry_id = item[key_entry_id].string_value();
        return result;
      }
    }
    if (items.size() < queue_page_size) { return result; }
  }
}
