// What the subcommands' command lines have in common.
#include "tools/qx_vod_ctl/subcommand.h"

#include "tools/qx_vod_ctl/item_view.h"

std::shared_ptr<std::vector<std::string>> add_operands(CLI::App& parser, const std::string& name,
                                                       const std::string& description) {
  auto texts = std::make_shared<std::vector<std::string>>();
  const auto take = [texts](const CLI::results_t& results) {
    *texts = results;
    return true;
  };
  // Not as a vector: its conversion would take "{}" for an empty list.
  parser.add_option(name, take, description)->required()->expected(1, -1)->allow_extra_args();
  return texts;
}

std::shared_ptr<bool> add_json_flag(CLI::App& parser) {
  auto json = std::make_shared<bool>(false);
  parser.add_flag("--json", *json, "Print the reply's data as they came, one JSON value a line");
  return json;
}

void add_state_option(CLI::App& parser, std::string& state, const std::string& description) {
  const std::vector<std::string> names(std::begin(job_states), std::end(job_states));
  parser.add_option("--state", state, description)->check(CLI::IsMember(names))->type_name("STATE");
}
