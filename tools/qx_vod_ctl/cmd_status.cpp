// status: the queue at a glance.
#include <ctime>

#include "rules/json_keys.h"
#include "rules/json_text.h"
#include "tools/client/estimate.h"
#include "tools/client/outlook.h"
#include "tools/client/queue_reader.h"
#include "tools/qx_vod_ctl/held_job.h"
#include "tools/qx_vod_ctl/item_table.h"
#include "tools/qx_vod_ctl/queue_screen.h"
#include "tools/qx_vod_ctl/report.h"
#include "tools/qx_vod_ctl/subcommand.h"
#include "tools/qx_vod_ctl/terminal.h"
#include "tools/qx_vod_ctl/terminal_text.h"

namespace {

struct status_options {
  std::string state;  // empty for every one
  std::string colour = "auto";
  bool json = false;
};

json11::Json whole_items(const queue_listing& listing, const std::string& state) {
  json11::Json::array items;
  for (const auto& text : listing.pages) {
    std::string error;
    const auto page = parse_json(text, error);
    for (const auto& item : page[key_list].array_items()) {
      item_view view;
      if (state.empty() || (read_item(item, view) && view.is_in(state))) { items.push_back(item); }
    }
  }
  return items;
}

// A pipe gets everything; only a terminal has an end to its lines.
screen_style style_of(const status_options& options) {
  screen_style style;
  if (output_is_terminal()) { style.width = terminal_size().columns; }
  style.colour = colour_is_wanted(options.colour);
  style.blocks = locale_is_unicode();
  return style;
}

std::vector<std::string> expected_moments(const std::vector<listed_item>& items) {
  const std::int64_t now = std::time(nullptr);
  outlook what_is_known;
  what_is_known.note(items, now);
  std::vector<std::string> moments;
  for (const auto& left : what_is_known.time_left(items)) {
    moments.push_back(expected_moment(left, now));
  }
  what_is_known.save();
  return moments;
}

// Prints the jobs that need an operator's action.
void print_held(const std::vector<screen_row>& rows) {
  for (const auto& row : rows) {
    const held_job held = look_at_held(row.listed.item);
    if (held.reason.empty()) { continue; }
    print_line(printable(row.listed.item.entry_id) + " is held: " + held.reason);
    print_line("  " + held.advice);
  }
}

void print_status(const queue_listing& listing, const status_options& options) {
  state_counts counts;
  std::vector<screen_row> rows;
  const auto expected = expected_moments(listing.items);
  for (std::size_t i = 0; i < listing.items.size(); ++i) {
    const item_view& item = listing.items[i].item;
    ++counts[item.state];
    if (options.state.empty() || item.is_in(options.state)) {
      rows.push_back({listing.items[i], expected[i]});
      read_reason(rows.back().listed.item);
    }
  }
  const auto id_length = telling_length(listing.items);
  for (const auto& line : queue_lines(rows, id_length, style_of(options))) {
    print_line(line);
  }
  print_line(listing.items.empty() ? "The queue is empty." : totals_line(counts));
  print_held(rows);
}

int show_status(vod_service& service, const status_options& options) {
  queue_listing listing;
  service_reply failure;
  if (!read_queue(service, {}, listing, failure)) { return report_reply("", failure); }
  for (listed_item& listed : listing.items) {
    read_resumption(listed.item);
    read_spread(listed.item);
  }
  if (options.json) {
    print_line(json_text(whole_items(listing, options.state)));
  } else {
    print_status(listing, options);
  }
  return 0;
}

}  // namespace

subcommand_action define_status(option_parser& parser) {
  const auto options = std::make_shared<status_options>();
  add_state_option(parser, options->state, "Only jobs in this state");
  add_colour_option(parser, options->colour);
  parser.add_flag("--json", options->json,
                  "Print one array of complete jobs, for jq and similar tools");
  parser.set_footer("On a terminal the lines are cut to fit; a pipe gets full paths and texts.");
  return [options](vod_service& service) { return show_status(service, *options); };
}
