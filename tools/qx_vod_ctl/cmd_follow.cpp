// follow: the progress of a job until it ends.
#include <algorithm>

#include "tools/qx_vod_ctl/item_selection.h"
#include "tools/qx_vod_ctl/job_waiter.h"
#include "tools/qx_vod_ctl/progress_line.h"
#include "tools/qx_vod_ctl/subcommand.h"
#include "tools/qx_vod_ctl/terminal.h"

namespace {

int follow_job(vod_service& service, const std::string& given) {
  const auto selection = select_items(service, {given});
  progress_line progress(stdout, output_is_terminal());
  job_waiter waiter(service, false, pause_between_looks, &progress);
  return std::max(selection.exit_status, waiter.wait(selection.ids));
}

}  // namespace

subcommand_action define_follow(option_parser& parser) {
  const auto id = std::make_shared<std::string>();
  parser.add_option("ID", *id, "Entry id, a unique prefix of one, or job:N").required();
  parser.set_footer(
      "On a terminal one line is updated in place; elsewhere a new line is printed for\n"
      "every 10 % and for every change of state or text.");
  return [=](vod_service& service) { return follow_job(service, *id); };
}
