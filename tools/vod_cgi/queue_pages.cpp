// Pages of the queue, and the whole of it.
#include "tools/vod_cgi/queue_pages.h"

#include <set>
#include <string>

namespace {

constexpr int most_readings = 3;

// Twice what the service's queue holds: an answer that never ends is not a queue.
constexpr int most_jobs = 1024;

void append_new(const json11::Json& page, std::set<std::string>& seen, json11::Json::array& jobs) {
  for (const json11::Json& job : page["list"].array_items()) {
    if (seen.insert(job["entry id"].string_value()).second) { jobs.push_back(job); }
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
  for (int start = 0; start < most_jobs; start += queue_page_size) {
    json11::Json page;
    const comm_client_result result = read_queue_page(client, start, deadline_us, room, page);
    if (result != comm_client_result::ok) { return result; }
    changed = changed || (start > 0 && page["modify counter"] != counter);
    counter = page["modify counter"];
    append_new(page, seen, jobs);
    if (start + queue_page_size >= page["total"].int_value()) { break; }
  }
  return comm_client_result::ok;
}

}  // namespace

comm_client_result read_queue_page(comm_client_v4& client, int start, std::uint64_t deadline_us,
                                   std::size_t& room, json11::Json& page) {
  comm_socket_v4_packet request;
  request.flags = comm_socket_v4_flag_want_reply;
  request.words = {"list"};
  request.nv_pairs = {{"start", std::to_string(start)},
                      {"end", std::to_string(start + queue_page_size - 1)}};
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
