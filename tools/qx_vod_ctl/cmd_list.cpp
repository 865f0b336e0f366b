// list: the queue as a table.
#include <cstdio>

#include "tools/client/queue_reader.h"
#include "tools/command_line/command_line.h"
#include "tools/qx_vod_ctl/item_table.h"
#include "tools/qx_vod_ctl/report.h"
#include "tools/qx_vod_ctl/subcommand.h"

namespace {

void print_listing(const queue_listing& listing) {
  if (listing.items.empty()) {
    report("", listing.total == 0 ? "the queue is empty" : "the queue is shorter than that");
  }
  std::fputs(item_table(listing.items).c_str(), stdout);
}

int list_queue(vod_service& service, const queue_range& range, bool json) {
  if (range.last < range.first) {
    report("", "--end is before --start");
    return exit_usage;
  }
  queue_listing listing;
  service_reply failure;
  if (!read_queue(service, range, listing, failure)) { return report_reply("", failure); }
  for (listed_item& listed : listing.items) {
    read_resumption(listed.item);
    read_spread(listed.item);
  }
  if (json) {
    for (const auto& page : listing.pages) {
      print_raw(page);
    }
  } else {
    print_listing(listing);
  }
  return 0;
}

}  // namespace

subcommand_action define_list(option_parser& parser) {
  const auto range = std::make_shared<queue_range>();
  parser.add_option("--start", range->first, "First position, starting at 0")
      .in_range(range->first, range->last);
  parser.add_option("--end", range->last, "Last position").in_range(range->first, range->last);
  const auto json = add_json_flag(parser);
  return [=](vod_service& service) { return list_queue(service, *range, *json); };
}
