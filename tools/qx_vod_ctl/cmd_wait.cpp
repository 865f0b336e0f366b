// wait and follow: until jobs are done or cancelled.
#include <algorithm>
#include <chrono>
#include <thread>

#include "tools/qx_vod_ctl/item_selection.h"
#include "tools/qx_vod_ctl/job_waiter.h"
#include "tools/qx_vod_ctl/progress_line.h"
#include "tools/qx_vod_ctl/subcommand.h"
#include "tools/qx_vod_ctl/terminal.h"

namespace {

// A job takes minutes, and its state is no more urgent to a script than this.
constexpr std::chrono::milliseconds poll_interval{500};

int wait_for_jobs(vod_service& service, const std::vector<std::string>& given, bool json) {
  const auto selection = select_items(service, given);
  job_waiter waiter(service, json, [] { std::this_thread::sleep_for(poll_interval); });
  return std::max(selection.exit_status, waiter.wait(selection.ids));
}

int follow_job(vod_service& service, const std::string& given) {
  const auto selection = select_items(service, {given});
  progress_line progress(stdout, output_is_terminal());
  job_waiter waiter(
      service, false, [] { std::this_thread::sleep_for(poll_interval); }, &progress);
  return std::max(selection.exit_status, waiter.wait(selection.ids));
}

}  // namespace

subcommand_action define_wait(option_parser& parser) {
  const auto ids = add_operands(parser, "ID", "Entry id, a unique prefix of one, or job:N");
  const auto json = add_json_flag(parser);
  return [=](vod_service& service) { return wait_for_jobs(service, *ids, *json); };
}

subcommand_action define_follow(option_parser& parser) {
  const auto id = std::make_shared<std::string>();
  parser.add_option("ID", *id, "Entry id, a unique prefix of one, or job:N").required();
  parser.set_footer(
      "On a terminal one line is updated in place; elsewhere a new line is printed for\n"
      "every 10 % and for every change of state or text.");
  return [=](vod_service& service) { return follow_job(service, *id); };
}
