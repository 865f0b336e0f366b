// One subcommand of the client: its command line and its action.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tools/client/vod_service.h"
#include "tools/command_line/option_parser.h"
#include "tools/qx_vod_ctl/item_selection.h"

// The action of a subcommand after its command line is read; returns the exit status.
using subcommand_action = std::function<int(vod_service&)>;

// Adds options and operands to the subcommand's parser and returns its action, which owns what
// they are read into.
using subcommand_definition = subcommand_action (*)(option_parser& parser);

struct subcommand {
  const char* name;
  const char* summary;
  subcommand_definition define;
};

// One or more operands. Their texts are kept unchanged, with one exception: the parser splits a
// text in brackets at its commas and removes the brackets (see main.cpp).
std::shared_ptr<std::vector<std::string>>
add_operands(option_parser& parser, const std::string& name, const std::string& description);

// The operands and options that select items; conflicts between them are detected when the items
// are selected.
std::shared_ptr<item_choice> add_item_choice(option_parser& parser);

// The flag --json: the reply's data as the service sent them.
std::shared_ptr<bool> add_json_flag(option_parser& parser);

// The option --state, which takes the name of a job's state.
void add_state_option(option_parser& parser, std::string& state, const std::string& description);

// The option --profile, whose text is empty or can be the name of a profile.
void add_profile_option(option_parser& parser, std::string& profile,
                        const std::string& description);

// The option --color, which colour_is_wanted() understands.
void add_colour_option(option_parser& parser, std::string& colour);

// cmd_add.cpp
subcommand_action define_add(option_parser& parser);

// cmd_check.cpp
subcommand_action define_check(option_parser& parser);

// cmd_items.cpp: for each command that takes items and nothing else, except "remove"; its word is
// the parser's name.
subcommand_action define_item_command(option_parser& parser);

// cmd_modify.cpp
subcommand_action define_modify(option_parser& parser);

// cmd_show.cpp
subcommand_action define_show(option_parser& parser);

// cmd_test.cpp
subcommand_action define_test(option_parser& parser);

// cmd_follow.cpp
subcommand_action define_follow(option_parser& parser);

// cmd_doctor.cpp
subcommand_action define_doctor(option_parser& parser);

// cmd_list.cpp
subcommand_action define_list(option_parser& parser);

// cmd_log.cpp
subcommand_action define_log(option_parser& parser);

// cmd_queue.cpp
subcommand_action define_queue(option_parser& parser);

// cmd_remove.cpp
subcommand_action define_remove(option_parser& parser);

// cmd_report.cpp
subcommand_action define_report(option_parser& parser);

// cmd_status.cpp
subcommand_action define_status(option_parser& parser);

// cmd_wait.cpp
subcommand_action define_wait(option_parser& parser);

// cmd_watch.cpp
subcommand_action define_watch(option_parser& parser);
