// doctor: is everything there that the service needs?
#include "tools/common/command_line.h"
#include "tools/common/tool_signals.h"
#include "tools/qx_vod_ctl/doctor/doctor.h"
#include "tools/qx_vod_ctl/report.h"
#include "tools/qx_vod_ctl/subcommand.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

namespace {

bool colour_is_wanted() {
  const char* const no_colour = std::getenv("NO_COLOR");
  const char* const terminal = std::getenv("TERM");
  const bool is_refused = no_colour != nullptr && *no_colour != '\0';
  return isatty(STDOUT_FILENO) != 0 && !is_refused && terminal != nullptr &&
         std::strcmp(terminal, "dumb") != 0;
}

int run_doctor(vod_service& service, bool json) {
  const finding_list findings = examine(service);
  if (json) {
    print_line(findings_json(findings).dump());
  } else {
    std::fputs(findings_text(findings, colour_is_wanted()).c_str(), stdout);
  }
  return has_problem(findings) ? exit_failure : exit_success;
}

}  // namespace

subcommand_action define_doctor(CLI::App& parser) {
  const auto json = std::make_shared<bool>(false);
  parser.add_flag("--json", *json, "Print an array of objects: check, result, text, advice");
  parser.footer("Exit status: 0 no problem (warnings are none), 1 a problem.");
  return [json](vod_service& service) { return end_of_tool(run_doctor(service, *json)); };
}
