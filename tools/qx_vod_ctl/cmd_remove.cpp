// remove: items out of the queue, with a question before what cannot be undone.
#include <algorithm>
#include <iostream>

#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "tools/command_line/command_line.h"
#include "tools/qx_vod_ctl/ending_tool.h"
#include "tools/qx_vod_ctl/item_selection.h"
#include "tools/qx_vod_ctl/report.h"
#include "tools/qx_vod_ctl/subcommand.h"
#include "tools/qx_vod_ctl/terminal.h"

namespace {

struct removal {
  std::size_t items = 0;
  std::size_t running = 0;
  std::size_t with_source = 0;  // whose source file would be deleted
};

// The service deletes the source of a job that has begun and is not done.
bool takes_its_source_along(const item_view& item) {
  return item.delete_on_finish && !item.is(TRANSCODE_INIT) && !item.is(TRANSCODE_DONE);
}

removal weigh(vod_service& service, const std::vector<std::string>& ids) {
  removal result;
  for (const auto& id : ids) {
    const auto reply = service.request(command_list, {{key_entry_id, id}});
    item_view item;
    if (!reply.accepted() || !read_item(reply.data, item)) { continue; }
    ++result.items;
    result.running += item.running() ? 1U : 0U;
    result.with_source += takes_its_source_along(item) ? 1U : 0U;
  }
  return result;
}

std::string question_about(const removal& what) {
  std::string text = "Remove " + std::to_string(what.items) + (what.items == 1 ? " job" : " jobs");
  if (what.running > 0) { text += ", stopping " + std::to_string(what.running) + " running"; }
  if (what.with_source > 0) {
    text += ", DELETING " + std::to_string(what.with_source) + " source file";
    if (what.with_source > 1) { text += "s"; }
  }
  return text + "? [y/N] ";
}

bool is_confirmed(const std::string& question) {
  std::cerr << question << std::flush;
  std::string answer;
  std::getline(std::cin, answer);
  return answer == "y" || answer == "yes" || answer == "Y";
}

service_reply stop_and_remove(vod_service& service, const std::string& id) {
  auto reply = service.request(command_cancel, {{key_entry_id, id}});
  if (!reply.accepted()) { return reply; }
  wait_for_tool(service, id, [](const item_view& item) { return !item.cancelled(); });
  return service.request(command_remove, {{key_entry_id, id}});
}

int remove_items(vod_service& service, const std::vector<std::string>& ids, bool stops_running) {
  int status = 0;
  for (const auto& id : ids) {
    auto reply = service.request(command_remove, {{key_entry_id, id}});
    const bool is_busy = reply.exit_status == exit_refused;
    if (is_busy && stops_running) { reply = stop_and_remove(service, id); }
    if (!reply.accepted()) { status = std::max(status, report_reply(id, reply)); }
    if (reply.exit_status == exit_no_service) { break; }
  }
  return status;
}

struct remove_options {
  bool yes = false;
  bool json = false;
};

// Without a terminal, a script that names its items means them; one that empties a queue must say
// so.
int run_remove(vod_service& service, const item_choice& choice, const remove_options& options) {
  auto selection = select_items(service, choice,
                                [](const item_view& item) { return !item.is(TRANSCODE_CLEARED); });
  if (selection.ids.empty()) { return selection.exit_status; }
  bool stops_running = options.yes;
  if (!options.yes && can_ask()) {
    const removal what = weigh(service, selection.ids);
    const bool needs_question =
        choice.is_whole_selection() || what.running > 0 || what.with_source > 0;
    if (needs_question && !is_confirmed(question_about(what))) {
      report("", "nothing was removed");
      return selection.exit_status;
    }
    stops_running = needs_question;
  } else if (!options.yes && choice.is_whole_selection()) {
    report("",
           "would remove " + std::to_string(selection.ids.size()) + " jobs; confirm with --yes");
    return exit_usage;
  }
  if (stops_running) { order_for_stopping(service, selection.ids); }
  return std::max(selection.exit_status, remove_items(service, selection.ids, stops_running));
}

}  // namespace

subcommand_action define_remove(option_parser& parser) {
  const auto choice = add_item_choice(parser);
  const auto options = std::make_shared<remove_options>();
  parser.add_flag("-y,--yes", options->yes, "Do not ask, and stop running jobs");
  parser.add_flag("--json", options->json, "Prints nothing: the reply to a removal has no data");
  parser.set_footer(
      "On a terminal it asks before it stops a job, deletes a source file or removes a\n"
      "whole selection; elsewhere a whole selection needs --yes.");
  return [=](vod_service& service) { return run_remove(service, *choice, *options); };
}
