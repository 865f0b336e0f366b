// report: one archive about an item, for a bug report.
#include <ctime>

#include "platform/paths.h"
#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "rules/json_text.h"
#include "rules/limits.h"
#include "tools/command_line/command_line.h"
#include "tools/media/tool_signals.h"
#include "tools/qx_vod_ctl/bug_report/bug_report.h"
#include "tools/qx_vod_ctl/bug_report/new_file.h"
#include "tools/qx_vod_ctl/bug_report/stored_item.h"
#include "tools/qx_vod_ctl/doctor/doctor.h"
#include "tools/qx_vod_ctl/id_resolver.h"
#include "tools/qx_vod_ctl/report.h"
#include "tools/qx_vod_ctl/subcommand.h"
#include "tools/qx_vod_ctl/text_file.h"

namespace {

int fail(const std::string& subject, const std::string& cause) {
  // A user who stopped the command needs no reason.
  if (stop_signal() == 0) { report(subject, cause); }
  return exit_failure;
}

// Without a service, when a report is needed most, the queue file must do.
int find_without_service(const std::string& given, reported_item& item) {
  std::string error;
  item.stored = true;
  item.json =
      find_stored_item(read_text_file(path_queue_file, queue_file_size_limit).text, given, error);
  if (!item.json.is_null()) { return exit_success; }
  report(given, error);
  return exit_no_such_item;
}

int find_item(vod_service& service, const std::string& given, reported_item& item) {
  const resolved_id id = resolve_id(service, given);
  if (id.exit_status != 0) {
    report_id(given, id);
    return id.exit_status == exit_no_service ? find_without_service(given, item) : id.exit_status;
  }
  const service_reply reply = service.request(command_list, {{key_entry_id, id.entry_id}});
  if (!reply.accepted()) { return report_reply(given, reply); }
  std::string error;
  item.json = parse_json(reply.data, error);
  return exit_success;
}

int write_report(const reported_item& item, const std::string& name, const std::string& file) {
  std::string error;
  std::string archive;
  report_parts parts(name, configured_secrets());
  if (!parts.create(error)) { return fail("", "no private directory: " + error); }
  add_all_parts(item, parts);
  if (!parts.pack(archive, error)) { return fail(file, error); }
  if (!write_new_file(file, archive, error)) { return fail(file, error); }
  print_line(file);
  return exit_success;
}

int report_item(vod_service& service, const std::string& given, const std::string& wanted) {
  reported_item item;
  const int status = find_item(service, given, item);
  if (status != exit_success) { return status; }
  const std::string name = report_name(item.json[key_entry_id].string_value(), std::time(nullptr));
  const std::string file = wanted.empty() ? name + ".tar.gz" : wanted;
  if (is_taken(file)) { return fail(file, "already exists"); }
  item.findings = examine(service);
  return write_report(item, name, file);
}

}  // namespace

subcommand_action define_report(option_parser& parser) {
  const auto id = std::make_shared<std::string>();
  const auto file = std::make_shared<std::string>();
  parser.add_option("ID", *id, "Entry id, a unique prefix of one, or job:N").required();
  parser.add_option("-o,--output", *file,
                    "Archive to write; an existing file is never overwritten");
  parser.set_footer(
      "The user name and password of the remote server are masked. Review the archive\n"
      "before you give it to others: it contains file names.");
  return [=](vod_service& service) { return end_of_tool(report_item(service, *id, *file)); };
}
