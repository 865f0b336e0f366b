// wait: until jobs are done or cancelled.
#include <algorithm>

#include "tools/qx_vod_ctl/item_selection.h"
#include "tools/qx_vod_ctl/job_waiter.h"
#include "tools/qx_vod_ctl/subcommand.h"

namespace {

int wait_for_jobs(vod_service& service, const std::vector<std::string>& given, bool json) {
  const auto selection = select_items(service, given);
  job_waiter waiter(service, json, pause_between_looks);
  return std::max(selection.exit_status, waiter.wait(selection.ids));
}

}  // namespace

subcommand_action define_wait(option_parser& parser) {
  const auto ids = add_operands(parser, "ID", "Entry id, a unique prefix of one, or job:N");
  const auto json = add_json_flag(parser);
  return [=](vod_service& service) { return wait_for_jobs(service, *ids, *json); };
}
