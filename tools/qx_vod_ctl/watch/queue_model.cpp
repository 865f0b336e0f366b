#include "tools/qx_vod_ctl/watch/queue_model.h"

#include <algorithm>

#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "rules/json_text.h"
#include "rules/limits.h"

namespace {

constexpr std::size_t page_size = most_listed_jobs;
constexpr std::size_t stale_pages_a_turn = 4;
constexpr std::uint64_t ageing_interval_us = 1'000'000;

std::size_t size_of_queue(const json11::Json& total) {
  const double number = total.number_value();
  return number > 0 ? static_cast<std::size_t>(std::min<double>(number, most_jobs)) : 0;
}

}  // namespace

bool queue_model::refresh(vod_service& service, std::size_t first, std::size_t count,
                          std::uint64_t now_us, service_reply& failure) {
  let_pages_age(now_us);
  for (const std::size_t page : due_pages(first, count)) {
    if (!read_page(service, page, failure)) { return false; }
  }
  const std::size_t most = was_read_ ? stale_pages_a_turn : most_jobs;
  for (std::size_t i = 0; i < most && !stale_.empty(); ++i) {
    if (!read_page(service, *stale_.begin(), failure)) { return false; }
  }
  was_read_ = true;
  return true;
}

bool queue_model::read_page(vod_service& service, std::size_t page, service_reply& failure) {
  const std::size_t first = page * page_size;
  failure = service.request(command_list, {{key_start, std::to_string(first)},
                                           {key_end, std::to_string(first + page_size - 1)}});
  if (!failure.accepted()) { return false; }
  std::string error;
  const auto json = parse_json(failure.data, error);
  if (!json[key_list].is_array() || !json[key_total].is_number()) {
    failure.exit_status = exit_no_service;
    failure.text = "the service's listing is malformed";
    return false;
  }
  note_change(json[key_modify_counter].number_value(), size_of_queue(json[key_total]));
  const auto& list = json[key_list].array_items();
  for (std::size_t i = 0; i < list.size() && first + i < items_.size(); ++i) {
    read_item(list[i], items_[first + i].item);
  }
  stale_.erase(page);
  return true;
}

std::set<std::size_t> queue_model::due_pages(std::size_t first, std::size_t count) const {
  std::set<std::size_t> pages;
  for (std::size_t row = first; row < first + count && row < items_.size(); ++row) {
    pages.insert(row / page_size);
  }
  for (const auto& [position, item] : items_) {
    if (item.running()) { pages.insert(static_cast<std::size_t>(position) / page_size); }
  }
  if (pages.empty()) { pages.insert(0); }
  return pages;
}

void queue_model::let_pages_age(std::uint64_t now_us) {
  if (items_.empty() || now_us - aged_at_us_ < ageing_interval_us) { return; }
  aged_at_us_ = now_us;
  next_to_age_ = (next_to_age_ + 1) % page_count();
  stale_.insert(next_to_age_);
}

// Not every change of the members is counted, but each of those shows in their number.
void queue_model::note_change(double counter, std::size_t total) {
  if (counter == counter_ && total == items_.size()) { return; }
  counter_ = counter;
  items_.resize(total);
  for (std::size_t i = 0; i < total; ++i) {
    items_[i].position = i;
  }
  stale_.clear();
  for (std::size_t page = 0; page < page_count(); ++page) {
    stale_.insert(page);
  }
}

std::size_t queue_model::page_count() const {
  return (items_.size() + page_size - 1) / page_size;
}
