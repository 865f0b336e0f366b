// pause, resume, cancel, restart and ready: the commands for any number of items.
#include <algorithm>
#include <string_view>

#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "tools/command_line/command_line.h"
#include "tools/qx_vod_ctl/ending_tool.h"
#include "tools/qx_vod_ctl/item_selection.h"
#include "tools/qx_vod_ctl/report.h"
#include "tools/qx_vod_ctl/subcommand.h"

namespace {

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

bool is_being_cancelled(const item_view& item) {
  return item.is(TRANSCODE_CANCELLING);
}

// The service refuses to restart a cancelled job until its tool has ended, which takes a moment.
service_reply request(vod_service& service, const char* word, const std::string& id) {
  auto reply = service.request(word, {{key_entry_id, id}});
  const bool is_refused_restart =
      word == std::string_view(command_restart) && reply.exit_status == exit_refused;
  if (!is_refused_restart || !wait_for_tool(service, id, is_being_cancelled)) { return reply; }
  return service.request(word, {{key_entry_id, id}});
}

int command_items(vod_service& service, const command_for_all& command, const item_choice& choice,
                  bool json) {
  auto selection = select_items(service, choice, command.fits);
  if (command.stops) { order_for_stopping(service, selection.ids); }
  int status = selection.exit_status;
  for (const auto& id : selection.ids) {
    const auto reply = request(service, command.word, id);
    status = std::max(status, print_reply(id, reply, json));
    if (reply.exit_status == exit_no_service) { break; }
  }
  return status;
}

}  // namespace

subcommand_action define_item_command(option_parser& parser) {
  const auto choice = add_item_choice(parser);
  const auto json = add_json_flag(parser);
  const std::string word = parser.name();
  const auto command = std::find_if(std::begin(commands_for_all), std::end(commands_for_all),
                                    [&](const command_for_all& one) { return word == one.word; });
  return [=](vod_service& service) { return command_items(service, *command, *choice, *json); };
}
