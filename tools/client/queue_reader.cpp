#include "tools/client/queue_reader.h"

#include <algorithm>
#include <set>

#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "rules/json_text.h"
#include "rules/limits.h"

namespace {

constexpr std::uint64_t page_size = most_listed_jobs;

enum class reading { complete, failed, queue_changed };

// A count as the service writes it; 0 for anything else.
std::uint64_t count(const json11::Json& json) {
  const double number = json.number_value();
  return number > 0 && number <= std::numeric_limits<std::uint32_t>::max()
             ? static_cast<std::uint64_t>(number)
             : 0;
}

bool fail_unreadable(service_reply& failure) {
  failure.exit_status = exit_no_service;
  failure.delivery = comm_client_result::malformed;
  failure.text = "the service's listing is malformed";
  return false;
}

// One reading of the queue, page by page.
class queue_reading {
public:
  queue_reading(vod_service& service, queue_listing& listing, service_reply& failure,
                std::size_t room)
      : service_(service), listing_(listing), failure_(failure), room_(room) {
    listing_ = {};
  }

  // With `ends_at_change` it ends at the first page of a queue that has changed.
  reading read(const queue_range& range, bool ends_at_change) {
    bool more = true;
    for (std::uint64_t first = range.first; more && first <= range.last; first += page_size) {
      json11::Json page;
      if (!read_page(first, std::min(range.last, first + page_size - 1), page)) {
        return reading::failed;
      }
      changed_ = changed_ || (first > range.first && page[key_modify_counter] != counter_);
      if (changed_ && ends_at_change) { break; }
      counter_ = page[key_modify_counter];
      append(page);
      more = first + page_size < listing_.total && !page[key_list].array_items().empty();
    }
    return changed_ ? reading::queue_changed : reading::complete;
  }

private:
  bool read_page(std::uint64_t first, std::uint64_t last, json11::Json& page) {
    const name_values range = {{key_start, std::to_string(first)}, {key_end, std::to_string(last)}};
    failure_ = service_.request(command_list, range);
    if (!failure_.accepted()) { return false; }
    if (failure_.data.size() > room_) { return fail_unreadable(failure_); }
    room_ -= failure_.data.size();
    std::string error;
    page = parse_json(failure_.data, error);
    return (page[key_list].is_array() && page[key_total].is_number()) || fail_unreadable(failure_);
  }

  // A page's "start" is the position of its first item; the others follow without a gap. An item
  // that moved to a later page while the queue changed is known already.
  void append(const json11::Json& page) {
    std::uint64_t position = count(page[key_start]);
    for (const auto& json : page[key_list].array_items()) {
      listed_item listed;
      listed.position = position++;
      if (read_item(json, listed.item) && seen_.insert(listed.item.entry_id).second) {
        listing_.items.push_back(std::move(listed));
      }
    }
    listing_.total = count(page[key_total]);
    listing_.pages.push_back(std::move(failure_.data));
  }

  vod_service& service_;
  queue_listing& listing_;
  service_reply& failure_;
  std::size_t room_;
  std::set<std::string> seen_;
  json11::Json counter_;
  bool changed_ = false;
};

}  // namespace

bool read_queue(vod_service& service, const queue_range& range, queue_listing& listing,
                service_reply& failure, const reading_limits& limits) {
  reading result = reading::queue_changed;
  for (int i = 1; i <= limits.most_readings && result == reading::queue_changed; ++i) {
    const bool is_last = i == limits.most_readings;
    queue_reading one(service, listing, failure, limits.most_bytes);
    result = one.read(range, !(is_last && limits.takes_changed_queue));
  }
  if (result == reading::queue_changed && limits.takes_changed_queue) { return true; }
  if (result == reading::queue_changed) {
    failure.exit_status = exit_no_service;
    failure.text = "the queue changes faster than it can be read; try again";
  }
  return result == reading::complete;
}
