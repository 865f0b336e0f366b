// A query and a body from a client of the gateway, divided at the first line feed.
#include <algorithm>

#include "tests/fuzz/fuzz_target.h"
#include "tools/vod_cgi/control_request.h"
#include "tools/vod_cgi/folded_text.h"
#include "tools/vod_cgi/page_command.h"
#include "tools/vod_cgi/page_query.h"

namespace {

bool is_plain(const std::string& text) {
  return std::none_of(text.begin(), text.end(),
                      [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
}

void read_other_server_s_request(const std::string& query, const std::string& body) {
  name_values pairs;
  std::string error;
  if (command_of_query(query).empty() || !read_pairs(body, pairs, error)) { return; }
  for (const auto& [name, value] : pairs) {
    fuzz_expect(!name.empty() && is_plain(name) && is_plain(value), "pairs are plain text");
  }
}

void read_page_request(const std::string& query, const std::string& body) {
  queue_query wanted;
  std::string error;
  if (read_queue_query(query, wanted, error)) {
    fuzz_expect(wanted.count >= 1 && wanted.count <= most_shown, "the count is within its limits");
    fuzz_expect(is_plain(wanted.search), "the search is plain text");
    folded_text(wanted.search);
  }
  page_command command;
  read_page_command(read_command_query(query), body, command, error);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::size_t end = std::min(text.find('\n'), text.size());
  const std::string query = text.substr(0, end);
  const std::string body = text.substr(std::min(end + 1, text.size()));
  gateway_word(query);
  read_other_server_s_request(query, body);
  read_page_request(query, body);
  return 0;
}

std::vector<std::string> fuzz_seeds() {
  const std::string id = "0f8b1c2d-0000-4abc-8def-0123456789ab";
  return {"c=vodsrv&vc=add\n*name:" + id + "\ntranscode profile:720\n\n",
          "c=vodsrv&vc=list\nentry id:" + id + "\n",
          "c=queue&first=32&count=64&show=failed&search=%C3%84+b",
          "c=command&vc=modify\n{\"id\":\"" + id +
              "\",\"profile\":\"720\",\"deletes_source\":true}",
          "c=command&vc=add\n{\"file\":\"/mnt/media/clip.mpg\",\"profile\":\"\\u00e4\"}"};
}
