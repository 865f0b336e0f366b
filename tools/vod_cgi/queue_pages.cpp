// Pages of the queue, and the whole of it.
#include "tools/vod_cgi/queue_pages.h"

#include <set>
#include <string>

#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "rules/limits.h"

namespace {

constexpr int most_readings = 3;

// Twice what the service's queue holds: an answer that never ends is not a queue.
constexpr int most_read_jobs = 2 * static_cast<int>(most_jobs);

void append_new(const json11::Json& page, std::set<std::string>& seen, json11::Json::array& jobs) {
  for (const json11::Json& job : page[key_list].array_items()) {
    if (seen.insert(job[key_entry_id].string_value()).second) { jobs.push_back(job); }
  }
}

// `changed` tells whether jobs came or went while it was read.
comm_client_result read_once(comm_client_v4& client, std::uint64_t deadline_us,
                             json11::Json::array& jobs, bool& changed) {
  jobs.clear();
  changed = false;
  std::set<std::string> seen;
  json11::Json counter;
  std::size_t room = most_queue_bytes;
  for (int start = 0; start < most_read_jobs; start += queue_page_size) {
    json11::Json page;
    const comm_client_result result = read_queue_page(client, start, deadline_us, room, page);
    if (result != comm_client_result::ok) { return result; }
    changed = changed || (start > 0 && page[key_modify_counter] != counter);
    counter = page[key_modify_counter];
    append_new(page, seen, jobs);
    if (start + queue_page_size >= page[key_total].int_value()) { break; }
  }
  return comm_client_result::ok;
}

}  // namespace

comm_client_result read_queue_page(comm_client_v4& client, int start, std::uint64_t deadline_us,
                                   std::size_t& room, json11::Json& page) {
  comm_socket_v4_packet request;
  request.flags = comm_socket_v4_flag_want_reply;
  request.words = {command_list};
  request.nv_pairs = {{key_start, std::to_string(start)},
                      {key_end, std::to_string(start + queue_page_size - 1)}};
  comm_socket_v4_packet reply;
  const comm_client_result result = client.request(request, reply, deadline_us);
  if (result != comm_client_result::ok) { return result; }
  if (reply.data.size() > room) { return comm_client_result::malformed; }
  room -= reply.data.size();
  std::string error;
  page = json11::Json::parse(reply.data, error);
  return page.is_object() ? result : comm_client_result::malformed;
}

comm_client_result read_whole_queue(comm_client_v4& client, std::uint64_t deadline_us,
                                    json11::Json::array& jobs) {
  comm_client_result result = comm_client_result::ok;
  bool changed = true;
  for (int i = 0; i < most_readings && changed && result == comm_client_result::ok; ++i) {
    result = read_once(client, deadline_us, jobs, changed);
  }
  return result;
}
