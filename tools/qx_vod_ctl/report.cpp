#include "tools/qx_vod_ctl/report.h"

#include <cstdio>

#include "tools/qx_vod_ctl/terminal_text.h"

void print_line(std::string_view line) {
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

void print_raw(const std::string& data) {
  if (!data.empty()) { print_line(data); }
}

void print_item(const item_view& item) {
  std::string line = item.entry_id + "  " + item.state_and_step();
  if (!item.text.empty()) { line += "  " + item.text; }
  print_line(printable(line));
}

void report(std::string_view subject, std::string_view cause) {
  std::string line = "qx_vod_ctl: ";
  if (!subject.empty()) { line.append(printable(subject)).append(": "); }
  std::fprintf(stderr, "%s\n", line.append(printable(cause)).c_str());
}

int report_reply(std::string_view subject, const service_reply& reply) {
  item_view item;
  std::string cause = reply.text;
  if (read_item(reply.data, item) && !item.text.empty()) { cause += " (" + item.text + ")"; }
  if (!reply.advice.empty()) { cause += "; " + reply.advice; }
  // Without a service it is not this item's fault.
  report(reply.exit_status == exit_no_service ? "" : subject, cause);
  return reply.exit_status;
}

int print_reply(const std::string& entry_id, const service_reply& reply, bool json) {
  if (json) { print_raw(reply.data); }
  if (!reply.accepted()) { return report_reply(entry_id, reply); }
  item_view item;
  if (!json && read_item(reply.data, item)) { print_item(item); }
  return 0;
}

int report_id(std::string_view given, const resolved_id& id) {
  report(id.exit_status == exit_no_service ? "" : given, id.error);
  for (const auto& candidate : id.candidates) {
    std::fprintf(stderr, "  %s  %s\n", printable(candidate.entry_id).c_str(),
                 printable(candidate.input_file).c_str());
  }
  return id.exit_status;
}
