#include "tools/qx_vod_ctl/item_selection.h"

#include <algorithm>
#include <map>

#include "tools/client/queue_reader.h"
#include "tools/command_line/command_line.h"
#include "tools/qx_vod_ctl/id_resolver.h"
#include "tools/qx_vod_ctl/report.h"

item_selection select_items(vod_service& service, const std::vector<std::string>& given) {
  item_selection selection;
  for (const auto& text : given) {
    const resolved_id id = resolve_id(service, text);
    if (id.exit_status != 0) {
      selection.exit_status = std::max(selection.exit_status, report_id(text, id));
    }
    if (id.exit_status == exit_usage || id.exit_status == exit_no_service) {
      return {id.exit_status, {}};
    }
    const auto end = selection.ids.end();
    const bool is_new = std::find(selection.ids.begin(), end, id.entry_id) == end;
    if (id.exit_status == 0 && is_new) { selection.ids.push_back(id.entry_id); }
  }
  return selection;
}

namespace {

item_selection select_listed(vod_service& service, const item_choice& choice,
                             bool (*fits)(const item_view& item)) {
  queue_listing listing;
  service_reply failure;
  if (!read_queue(service, {}, listing, failure)) { return {report_reply("", failure), {}}; }
  item_selection selection;
  for (const auto& listed : listing.items) {
    const bool is_meant = choice.all ? fits(listed.item) : listed.item.is_in(choice.state);
    if (is_meant) { selection.ids.push_back(listed.item.entry_id); }
  }
  if (selection.ids.empty()) { report("", "no job in the queue matches"); }
  return selection;
}

}  // namespace

void order_for_stopping(vod_service& service, std::vector<std::string>& ids) {
  if (ids.size() < 2) { return; }
  std::reverse(ids.begin(), ids.end());
  queue_listing listing;
  service_reply failure;
  if (!read_queue(service, {}, listing, failure)) { return; }
  std::map<std::string, std::pair<bool, std::uint64_t>> turns;
  for (const auto& [position, item] : listing.items) {
    turns[item.entry_id] = {item.holds_a_turn(), listing.total - position};
  }
  std::stable_sort(ids.begin(), ids.end(), [&](const std::string& one, const std::string& other) {
    return turns[one] < turns[other];
  });
}

item_selection select_items(vod_service& service, const item_choice& choice,
                            bool (*fits)(const item_view& item)) {
  const bool names_some = !choice.given.empty();
  if (names_some + choice.all + !choice.state.empty() != 1) {
    report("", "name the jobs with ID..., --all or --state STATE");
    return {exit_usage, {}};
  }
  return names_some ? select_items(service, choice.given) : select_listed(service, choice, fits);
}
