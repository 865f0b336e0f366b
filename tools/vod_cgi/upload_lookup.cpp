// Finds the job of an upload by paging through the queue.
#include "tools/vod_cgi/upload_lookup.h"

#include <json11.hpp>

namespace {

constexpr int page_size = 16;

comm_client_result read_page(comm_client_v4& client, int start, std::uint64_t deadline_us,
                             json11::Json& page) {
  comm_socket_v4_packet request;
  request.flags = comm_socket_v4_flag_want_reply;
  request.words = {"list"};
  request.nv_pairs = {{"start", std::to_string(start)},
                      {"end", std::to_string(start + page_size - 1)}};
  comm_socket_v4_packet reply;
  const comm_client_result result = client.request(request, reply, deadline_us);
  std::string error;
  page = json11::Json::parse(reply.data, error);
  return result == comm_client_result::ok && !page.is_object() ? comm_client_result::malformed
                                                               : result;
}

}  // namespace

comm_client_result find_job_of(comm_client_v4& client, const std::string& input_file,
                               std::uint64_t deadline_us, std::string& entry_id) {
  entry_id.clear();
  for (int start = 0;; start += page_size) {
    json11::Json page;
    const comm_client_result result = read_page(client, start, deadline_us, page);
    if (result != comm_client_result::ok) {
      return result;
    }
    const json11::Json::array& items = page["list"].array_items();
    for (const json11::Json& item : items) {
      if (item["input file"].string_value() == input_file) {
        entry_id = item["entry id"].string_value();
        return result;
      }
    }
    if (items.size() < page_size) {
      return result;
    }
  }
}
