// check: predicts how the service would handle a file.
#include <cstdio>

#include "rules/json_text.h"
#include "tools/client/job_history.h"
#include "tools/command_line/command_line.h"
#include "tools/media/tool_signals.h"
#include "tools/qx_vod_ctl/check/prospect.h"
#include "tools/qx_vod_ctl/media_path.h"
#include "tools/qx_vod_ctl/report.h"
#include "tools/qx_vod_ctl/subcommand.h"

namespace {

struct check_options {
  std::string file;
  std::string profile;
  bool json = false;
};

int status_of(const prospect& found) {
  if (found.accepted()) { return exit_success; }
  if (found.refused.unknown) { return exit_failure; }
  return found.refused.missing ? exit_no_such_item : exit_refused;
}

int run_check(const check_options& options) {
  const std::string path = absolute_path(options.file, working_folder());
  if (path.empty()) {
    report(options.file,
           options.file.empty() ? "an empty file name" : "there is no working directory");
    return exit_usage;
  }
  catch_tool_signals();
  job_history history;
  history.load(find_history().path);
  const prospect found = look_ahead(
      path, options.profile, [&](const std::string& profile) { return history.speed(profile); });
  if (options.json) {
    print_line(json_text(prospect_json(found)));
  } else {
    std::fputs(prospect_text(found).c_str(), stdout);
  }
  return status_of(found);
}

}  // namespace

subcommand_action define_check(option_parser& parser) {
  const auto options = std::make_shared<check_options>();
  parser.add_option("FILE", options->file, "Media file to check").required();
  add_profile_option(parser, options->profile, "Profile that would be given to \"add\"");
  parser.add_flag("--json", options->json,
                  "Print one JSON object; docs/doctor.md describes its keys");
  parser.set_footer(
      "Exit status: 0 if the file would be transcoded, 4 if it does not exist, 5 if it\n"
      "would be refused, 1 if that cannot be determined.");
  return [options](vod_service&) { return end_of_tool(run_check(*options)); };
}
