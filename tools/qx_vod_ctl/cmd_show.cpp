// show: one item.
#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "rules/json_text.h"
#include "tools/client/item_view.h"
#include "tools/qx_vod_ctl/item_selection.h"
#include "tools/qx_vod_ctl/report.h"
#include "tools/qx_vod_ctl/subcommand.h"
#include "tools/qx_vod_ctl/terminal_text.h"

namespace {

std::string list_text(const json11::Json& json) {
  std::string text;
  for (const auto& element : json.array_items()) {
    if (!text.empty()) { text += ", "; }
    text += element.is_string() ? element.string_value() : element.dump();
  }
  return text;
}

std::string value_text(const json11::Json& json) {
  if (json.is_string()) { return json.string_value(); }
  if (json.is_bool()) { return json.bool_value() ? "yes" : "no"; }
  return json.is_array() ? list_text(json) : json.dump();
}

// Prints every key from the service, even keys that are added later, the reason why a failed job
// failed, where an interrupted one was resumed, and where one runs that is spread over a cluster.
// The tool's command line is omitted: it can contain the remote server's password, and people show
// each other their screens.
void print_details(const json11::Json& json) {
  for (const auto& [key, value] : json.object_items()) {
    if (key == key_process_argv) { continue; }
    const bool is_progress = key == key_progress;
    std::string line = key + ": ";
    line += is_progress ? percent(value[0].int_value()) : value_text(value);
    print_line(printable(line));
  }
  item_view item;
  if (!read_item(json, item)) { return; }
  read_reason(item);
  if (!item.reason.empty()) { print_line(printable("reason: " + item.reason)); }
  read_resumption(item);
  if (item.resumed) { print_line(resumption_text(*item.resumed)); }
  read_spread(item);
  if (item.spread) { print_line("cluster: " + spread_text(*item.spread)); }
}

int show_item(vod_service& service, const std::string& given, bool json) {
  const auto selection = select_items(service, {given});
  if (selection.ids.empty()) { return selection.exit_status; }
  const auto reply = service.request(command_list, {{key_entry_id, selection.ids[0]}});
  if (!reply.accepted()) { return report_reply(given, reply); }
  std::string error;
  json ? print_raw(reply.data) : print_details(parse_json(reply.data, error));
  return 0;
}

}  // namespace

subcommand_action define_show(option_parser& parser) {
  const auto id = std::make_shared<std::string>();
  parser.add_option("ID", *id, "Entry id, a unique prefix of one, or job:N").required();
  const auto json = add_json_flag(parser);
  return [=](vod_service& service) { return show_item(service, *id, *json); };
}
