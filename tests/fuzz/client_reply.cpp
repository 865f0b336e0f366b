// A listing of the service as its clients take it: the reader of pages, the table, the queue page,
// and the gateway's answer. The pages are divided by form feeds.
#include <algorithm>

#include "tests/fuzz/fuzz_target.h"
#include "tools/client/item_view.h"
#include "tools/client/queue_reader.h"
#include "tools/client/secret_mask.h"
#include "tools/client/vod_service.h"
#include "tools/qx_vod_ctl/item_table.h"
#include "tools/vod_cgi/control_reply.h"
#include "tools/vod_cgi/queue_view.h"

namespace {

constexpr char secret[] = "hunter2";

// Answers each request with the next page, and with the last one from then on.
class paged_service : public vod_service {
public:
  explicit paged_service(std::string_view text) : rest_(text) {}

  service_reply request(std::string_view /*command*/, const name_values& /*pairs*/) override {
    const std::size_t end = std::min(rest_.find('\f'), rest_.size());
    service_reply reply;
    reply.exit_status = 0;
    reply.text = "OK";
    reply.data = rest_.substr(0, end);
    if (end < rest_.size()) { rest_.remove_prefix(end + 1); }
    return reply;
  }

private:
  std::string_view rest_;
};

// Few requests, since a page may announce any number of jobs.
bool read_all(std::string_view text, queue_listing& listing) {
  paged_service service(text);
  service_reply failure;
  reading_limits limits;
  limits.most_readings = 2;
  limits.takes_changed_queue = true;
  limits.most_bytes = std::size_t{64} << 10U;
  return read_queue(service, {0, 63}, listing, failure, limits);
}

void show(const queue_listing& listing) {
  fuzz_expect(item_table(listing.items).empty() == listing.items.empty(), "jobs have a table");
  const expected_ends ends = {std::vector<std::optional<double>>(listing.items.size()), 1000};
  const json11::Json view = view_of_queue(listing.items, ends, {}, vod_folder{"/nowhere/"});
  std::string error;
  json11::Json::parse(view.dump(), error);
  fuzz_expect(error.empty(), "the page gets JSON");
  const secret_mask mask({secret});
  for (const std::string& page : listing.pages) {
    const std::string masked = mask.masked_json(json11::Json::parse(page, error)).dump();
    fuzz_expect(masked.find(secret) == std::string::npos, "a password is masked");
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  queue_listing listing;
  if (read_all(text, listing)) { show(listing); }
  paged_service service(text);
  const int status = answer_of_reply(service.request("list", {})).status;
  fuzz_expect(status == 200 || status == 502,
              "the gateway hands a reply on or calls it unreadable");
  return 0;
}

std::vector<std::string> fuzz_seeds() {
  const std::string job =
      "{\"entry id\":\"0f8b1c2d-0000-4abc-8def-0123456789ab\",\"input file\":\"/mnt/media/a.ts\","
      "\"output file\":\"/mnt/main/tv/vod/a.mp4\",\"transcode state\":\"ready\",\"ready state\":"
      "\"init\",\"transcode progress\":[1,10000],\"process argv\":[\"--user=vod:hunter2\"],"
      "\"state\":\"\\u00c4 \\u001b[2J\",\"process pid\":7}";
  const std::string head = "{\"modify counter\":3,\"total\":";
  return {head + "1,\"start\":0,\"end\":0,\"list\":[" + job + "]}",
          head + "17,\"start\":0,\"list\":[" + job + ",7,null]}\f" + head +
              "17,\"start\":16,\"list\":[" + job + "]}",
          head + "1e99,\"list\":[{}]}\f{\"list\":[],\"total\":2}",
          "{\"entry id\":\"x\",\"transcode state\":\"cancelled\",\"state\":\"hunter2\"}", "[[["};
}
