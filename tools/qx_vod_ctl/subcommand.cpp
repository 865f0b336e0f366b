#include "tools/qx_vod_ctl/subcommand.h"

#include "tools/client/item_view.h"
#include "tools/client/offered_profiles.h"

namespace {

std::string joined(const std::vector<std::string>& texts) {
  std::string all;
  for (const std::string& text : texts) {
    all += (all.empty() ? "" : ", ") + text;
  }
  return all;
}

}  // namespace

std::shared_ptr<std::vector<std::string>>
add_operands(option_parser& parser, const std::string& name, const std::string& description) {
  auto texts = std::make_shared<std::vector<std::string>>();
  parser.add_texts(name, *texts, description).required();
  return texts;
}

std::shared_ptr<item_choice> add_item_choice(option_parser& parser) {
  auto choice = std::make_shared<item_choice>();
  parser.add_texts("ID", choice->given, "Entry id, a unique prefix of one, or job:N");
  parser.add_flag("--all", choice->all, "All jobs to which the command applies");
  add_state_option(parser, choice->state, "All jobs in this state");
  return choice;
}

std::shared_ptr<bool> add_json_flag(option_parser& parser) {
  auto json = std::make_shared<bool>(false);
  parser.add_flag("--json", *json,
                  "Print the data of the replies unchanged, one JSON value per line");
  return json;
}

void add_state_option(option_parser& parser, std::string& state, const std::string& description) {
  std::vector<std::string> names(std::begin(job_states), std::end(job_states));
  const std::string states = joined(names);
  names.emplace_back(failed_jobs);
  parser
      .add_option("--state", state,
                  description + ": " + states + "; or " + failed_jobs +
                      ": cancelled, but not by a user")
      .one_of_described(names)
      .value_name("STATE");
}

void add_profile_option(option_parser& parser, std::string& profile,
                        const std::string& description) {
  const auto judge = [](const std::string& text) {
    const bool is_fine = text.empty() || is_profile_name(text);
    return is_fine ? std::string() : "'" + text + "' is not a valid profile name";
  };
  parser.add_option("--profile", profile, description).judged_by(judge);
}

void add_colour_option(option_parser& parser, std::string& colour) {
  parser.add_option("--color", colour, "auto (default; respects NO_COLOR), always or never")
      .one_of({"auto", "always", "never"})
      .value_name("WHEN");
}
