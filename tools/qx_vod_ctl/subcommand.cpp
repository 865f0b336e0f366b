// What the subcommands' command lines have in common.
#include "tools/qx_vod_ctl/subcommand.h"

#include "tools/client/offered_profiles.h"
#include "tools/qx_vod_ctl/item_view.h"

namespace {

// `texts` must outlive the parsing. Not as a vector: its conversion would take "{}" for an empty
// list.
CLI::Option* add_texts(CLI::App& parser, std::vector<std::string>& texts, const std::string& name,
                       const std::string& description) {
  const auto take = [&texts](const CLI::results_t& results) {
    texts = results;
    return true;
  };
  return parser.add_option(name, take, description)->expected(1, -1)->allow_extra_args();
}

}  // namespace

std::shared_ptr<std::vector<std::string>> add_operands(CLI::App& parser, const std::string& name,
                                                       const std::string& description) {
  auto texts = std::make_shared<std::vector<std::string>>();
  add_texts(parser, *texts, name, description)->required();
  return texts;
}

std::shared_ptr<item_choice> add_item_choice(CLI::App& parser) {
  auto choice = std::make_shared<item_choice>();
  add_texts(parser, choice->given, "ID", "Entry id, the beginning of one, or job:N");
  parser.add_flag("--all", choice->all, "All items for which it makes sense");
  add_state_option(parser, choice->state, "All items in this state");
  return choice;
}

std::shared_ptr<bool> add_json_flag(CLI::App& parser) {
  auto json = std::make_shared<bool>(false);
  parser.add_flag("--json", *json, "Print the reply's data as they came, one JSON value a line");
  return json;
}

void add_state_option(CLI::App& parser, std::string& state, const std::string& description) {
  std::vector<std::string> names(std::begin(job_states), std::end(job_states));
  const std::string states = CLI::detail::join(names, ", ");
  names.emplace_back(failed_jobs);
  parser
      .add_option("--state", state,
                  description + ": " + states + "; or " + failed_jobs + ", cancelled by no user")
      ->check(CLI::IsMember(names).description(""))
      ->type_name("STATE");
}

void add_profile_option(CLI::App& parser, std::string& profile, const std::string& description) {
  const auto judge = [](const std::string& text) {
    const bool is_fine = text.empty() || is_profile_name(text);
    return is_fine ? std::string() : "'" + text + "' cannot be a profile's name";
  };
  parser.add_option("--profile", profile, description)->check(CLI::Validator(judge, ""));
}

void add_colour_option(CLI::App& parser, std::string& colour) {
  parser.add_option("--color", colour, "auto, always or never; auto heeds NO_COLOR")
      ->check(CLI::IsMember({"auto", "always", "never"}))
      ->type_name("WHEN");
}
