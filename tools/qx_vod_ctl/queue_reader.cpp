// Reads the queue page by page, anew when it changed meanwhile.
#include "tools/qx_vod_ctl/queue_reader.h"

#include <algorithm>

namespace {

// What the service lists at most in answer to one request.
constexpr std::uint64_t page_size = 16;
constexpr int most_readings = 8;

enum class reading { complete, failed, queue_changed };

// A count as the service writes it; 0 for what is none.
std::uint64_t count(const json11::Json& json) {
  const double number = json.number_value();
  return number > 0 && number <= std::numeric_limits<std::uint32_t>::max()
             ? static_cast<std::uint64_t>(number)
             : 0;
}

// A page's "start" tells where its first item stands; items behind it follow without a gap.
void append_page(const json11::Json& page, queue_listing& listing) {
  std::uint64_t position = count(page["start"]);
  for (const auto& json : page["list"].array_items()) {
    listed_item listed;
    listed.position = position++;
    if (read_item(json, listed.item)) { listing.items.push_back(std::move(listed)); }
  }
}

bool read_page(vod_service& service, std::uint64_t first, std::uint64_t last, json11::Json& page,
               service_reply& reply) {
  const name_values range = {{"start", std::to_string(first)}, {"end", std::to_string(last)}};
  reply = service.request("list", range);
  if (!reply.accepted()) { return false; }
  std::string error;
  page = json11::Json::parse(reply.data, error);
  if (page["list"].is_array() && page["total"].is_number()) { return true; }
  reply.exit_status = exit_no_service;
  reply.text = "the service's listing cannot be understood";
  return false;
}

reading read_once(vod_service& service, const queue_range& range, queue_listing& listing,
                  service_reply& failure) {
  listing = {};
  json11::Json first_counter;
  bool more = true;
  for (std::uint64_t first = range.first; more && first <= range.last; first += page_size) {
    json11::Json page;
    const auto last = std::min(range.last, first + page_size - 1);
    if (!read_page(service, first, last, page, failure)) { return reading::failed; }
    const json11::Json& counter = page["modify counter"];
    if (first == range.first) { first_counter = counter; }
    if (counter != first_counter) { return reading::queue_changed; }
    listing.total = count(page["total"]);
    append_page(page, listing);
    listing.pages.push_back(std::move(failure.data));
    more = first + page_size < listing.total && !page["list"].array_items().empty();
  }
  return reading::complete;
}

}  // namespace

bool read_queue(vod_service& service, const queue_range& range, queue_listing& listing,
                service_reply& failure) {
  reading result = reading::queue_changed;
  for (int i = 0; i < most_readings && result == reading::queue_changed; ++i) {
    result = read_once(service, range, listing, failure);
  }
  if (result == reading::queue_changed) {
    failure.exit_status = exit_no_service;
    failure.text = "the queue changes faster than it can be read; try again";
  }
  return result == reading::complete;
}
