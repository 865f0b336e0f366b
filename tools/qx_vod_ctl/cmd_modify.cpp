// modify: fields of an item.
#include <chrono>

#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "tools/client/offered_profiles.h"
#include "tools/client/submission.h"
#include "tools/command_line/command_line.h"
#include "tools/qx_vod_ctl/item_selection.h"
#include "tools/qx_vod_ctl/media_path.h"
#include "tools/qx_vod_ctl/report.h"
#include "tools/qx_vod_ctl/subcommand.h"

namespace {

constexpr std::chrono::minutes listing_time_limit{2};
constexpr const char* id_help = "Entry id, a unique prefix of one, or job:N";

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

// Why the item cannot have the profile that `changes` would set; empty if it can, or if only the
// service knows.
std::string problem_of(vod_service& service, const std::string& id, const name_values& changes) {
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
  // The profiles offered for the item's source say nothing about another file.
  if (!file.empty()) { return profile_problem(profile, file, {}, listing_time_limit); }
  return profile_problem(profile, item.input_file, item.offered, listing_time_limit);
}

int modify_item(vod_service& service, const std::string& given,
                const std::vector<std::string>& texts, bool json) {
  name_values request;
  for (const auto& text : texts) {
    if (!read_change(text, request)) { return exit_usage; }
  }
  const auto selection = select_items(service, {given});
  if (selection.ids.empty()) { return selection.exit_status; }
  const std::string problem = problem_of(service, selection.ids[0], request);
  if (!problem.empty()) {
    report(given, problem);
    return exit_refused;
  }
  request.emplace_back(key_entry_id, selection.ids[0]);
  return print_reply(selection.ids[0], service.request(command_modify, request), json);
}

}  // namespace

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
