// doctor: is everything there that the service needs?
#include <cstdio>

#include "rules/json_text.h"
#include "tools/command_line/command_line.h"
#include "tools/media/tool_signals.h"
#include "tools/qx_vod_ctl/doctor/doctor.h"
#include "tools/qx_vod_ctl/report.h"
#include "tools/qx_vod_ctl/subcommand.h"
#include "tools/qx_vod_ctl/terminal.h"

namespace {

struct doctor_options {
  bool json = false;
  bool fix = false;
  std::string colour = "auto";
};

int run_doctor(vod_service& service, const doctor_options& options) {
  const finding_list findings = examine(service, options.fix);
  if (options.json) {
    print_line(json_text(findings_json(findings)));
  } else {
    std::fputs(findings_text(findings, colour_is_wanted(options.colour)).c_str(), stdout);
  }
  return has_problem(findings) ? exit_failure : exit_success;
}

}  // namespace

subcommand_action define_doctor(option_parser& parser) {
  const auto options = std::make_shared<doctor_options>();
  parser
      .add_option("--color", options->colour, "auto (default; respects NO_COLOR), always or never")
      .one_of({"auto", "always", "never"});
  parser.add_flag("--json", options->json,
                  "Print a JSON array of objects: check, result, text, advice");
  parser.add_flag("--fix", options->fix, "Remove the files that killed tools left behind");
  parser.set_footer("Exit status: 0 if no problem was found (warnings do not count), else 1.");
  return [options](vod_service& service) { return end_of_tool(run_doctor(service, *options)); };
}
