// test: whether the service is there.
#include "rules/control_words.h"
#include "tools/qx_vod_ctl/report.h"
#include "tools/qx_vod_ctl/subcommand.h"

namespace {

int test_service(vod_service& service, bool json) {
  const auto reply = service.request(command_test, {});
  if (!reply.accepted()) { return report_reply("", reply); }
  json ? print_raw(reply.data) : print_line(reply.text);
  return 0;
}

}  // namespace

subcommand_action define_test(option_parser& parser) {
  const auto json = add_json_flag(parser);
  return [json](vod_service& service) { return test_service(service, *json); };
}
