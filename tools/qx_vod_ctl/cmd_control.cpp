// The subcommands that pass one control command on to the service.
#include <algorithm>

#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "tools/client/offered_profiles.h"
#include "tools/command_line/command_line.h"
#include "tools/qx_vod_ctl/item_selection.h"
#include "tools/qx_vod_ctl/media_path.h"
#include "tools/qx_vod_ctl/report.h"
#include "tools/qx_vod_ctl/subcommand.h"

namespace {

constexpr std::chrono::minutes listing_time_limit{2};
constexpr const char* id_help = "Entry id, a unique prefix of one, or job:N";

int test_service(vod_service& service, bool json) {
  const auto reply = service.request(command_test, {});
  if (!reply.accepted()) { return report_reply("", reply); }
  json ? print_raw(reply.data) : print_line(reply.text);
  return 0;
}

int show_reply(const std::string& entry_id, const service_reply& reply, bool json) {
  if (json) { print_raw(reply.data); }
  if (!reply.accepted()) { return report_reply(entry_id, reply); }
  item_view item;
  if (!json && read_item(reply.data, item)) { print_item(item); }
  return 0;
}

bool can_pause(const item_view& item) {
  const bool is_ahead = item.is(TRANSCODE_INIT) || item.is(TRANSCODE_READY);
  const bool works = item.is(TRANSCODE_TRANSCODING) || item.is(TRANSCODE_REMOTE);
  return !item.paused && (is_ahead || works);
}

bool can_resume(const item_view& item) {
  return item.paused;
}

bool can_cancel(const item_view& item) {
  return item.is(TRANSCODE_INIT) || item.is(TRANSCODE_READY) || item.is(TRANSCODE_TRANSCODING) ||
         item.is(TRANSCODE_REMOTE) || item.is(TRANSCODE_THUMBNAIL);
}

bool is_held(const item_view& item) {
  return item.is(TRANSCODE_INIT);
}

struct command_for_all {
  const char* word;
  bool (*fits)(const item_view& item);
  bool stops;  // else it starts, which is done in the order of the queue
};

// The items to which each command with --all applies.
constexpr command_for_all commands_for_all[] = {
    {command_pause, can_pause, true},
    {command_resume, can_resume, false},
    {command_cancel, can_cancel, true},
    {command_restart, [](const item_view& item) { return item.cancelled(); }, false},
    {command_ready, is_held, false},
};

int command_items(vod_service& service, const command_for_all& command, const item_choice& choice,
                  bool json) {
  auto selection = select_items(service, choice, command.fits);
  if (command.stops) { order_for_stopping(service, selection.ids); }
  int status = selection.exit_status;
  for (const auto& id : selection.ids) {
    const auto reply = service.request(command.word, {{key_entry_id, id}});
    status = std::max(status, show_reply(id, reply, json));
    if (reply.exit_status == exit_no_service) { break; }
  }
  return status;
}

bool selects_an_item(std::string_view name) {
  return name == key_entry_id || name == key_fileops_job_id;
}

// Takes NAME=VALUE apart. False, with the cause reported, when it is not of that form. A name that
// selects the item would change another one than the command line says.
bool read_change(const std::string& text, name_values& changes) {
  const auto equals = text.find('=');
  if (equals == std::string::npos || equals == 0) {
    report(text, "not of the form NAME=VALUE");
    return false;
  }
  const std::string name = text.substr(0, equals);
  std::string value = text.substr(equals + 1);
  if (selects_an_item(name)) {
    report(text, "cannot be changed");
    return false;
  }
  if (name == key_profile && !value.empty() && !is_profile_name(value)) {
    report(text, "not a valid profile name");
    return false;
  }
  if (name == key_input_file) { value = absolute_path(value, working_folder()); }
  changes.emplace_back(name, value);
  return true;
}

// Why the item cannot have the profile that `changes` would give it; empty where it can, and where
// only the service can tell.
std::string profile_problem(vod_service& service, const std::string& id,
                            const name_values& changes) {
  std::string profile;
  std::string file;
  for (const auto& [name, value] : changes) {
    if (name == key_profile) { profile = value; }
    if (name == key_input_file) { file = value; }
  }
  item_view item;
  if (profile.empty() ||
      !read_item(service.request(command_list, {{key_entry_id, id}}).data, item)) {
    return "";
  }
  if (!file.empty()) { item.offered.clear(); }
  if (item.offered.empty()) {
    item.offered = offered_profiles(file.empty() ? item.input_file : file, listing_time_limit);
  }
  return profile_refusal(profile, item.offered);
}

int modify_item(vod_service& service, const std::string& given,
                const std::vector<std::string>& texts, bool json) {
  name_values request;
  for (const auto& text : texts) {
    if (!read_change(text, request)) { return exit_usage; }
  }
  const auto selection = select_items(service, {given});
  if (selection.ids.empty()) { return selection.exit_status; }
  const std::string problem = profile_problem(service, selection.ids[0], request);
  if (!problem.empty()) {
    report(given, problem);
    return exit_refused;
  }
  request.emplace_back(key_entry_id, selection.ids[0]);
  return show_reply(selection.ids[0], service.request(command_modify, request), json);
}

}  // namespace

subcommand_action define_test(option_parser& parser) {
  const auto json = add_json_flag(parser);
  return [json](vod_service& service) { return test_service(service, *json); };
}

subcommand_action define_item_command(option_parser& parser) {
  const auto choice = add_item_choice(parser);
  const auto json = add_json_flag(parser);
  const std::string word = parser.name();
  const auto command = std::find_if(std::begin(commands_for_all), std::end(commands_for_all),
                                    [&](const command_for_all& one) { return word == one.word; });
  return [=](vod_service& service) { return command_items(service, *command, *choice, *json); };
}

subcommand_action define_modify(option_parser& parser) {
  const auto id = std::make_shared<std::string>();
  parser.add_option("ID", *id, id_help).required();
  const auto changes = add_operands(parser, "NAME=VALUE", "Field to change and its new value");
  const auto json = add_json_flag(parser);
  parser.set_footer(
      "Fields: \"input file\", \"transcode profile\", \"transcode state\", \"paused\" (0 or "
      "1),\n\"delete on finish\" (0 or 1).");
  return [=](vod_service& service) { return modify_item(service, *id, *changes, *json); };
}
