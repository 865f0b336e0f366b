// log: the logs that the tools wrote for a job.
#include <chrono>
#include <thread>

#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "tools/command_line/command_line.h"
#include "tools/job_log/job_log_file.h"
#include "tools/qx_vod_ctl/id_resolver.h"
#include "tools/qx_vod_ctl/log_reader.h"
#include "tools/qx_vod_ctl/report.h"
#include "tools/qx_vod_ctl/subcommand.h"
#include "tools/qx_vod_ctl/terminal_text.h"

namespace {

constexpr std::chrono::milliseconds poll_interval{500};

void print_lines(std::string_view lines) {
  while (!lines.empty()) {
    const std::size_t end = std::min(lines.find('\n'), lines.size());
    print_line(printable(lines.substr(0, end)));
    lines.remove_prefix(std::min(end + 1, lines.size()));
  }
}

// Prints the new lines of the source's log and the output's.
class job_log_printer {
public:
  void print_news(const item_view& item) {
    print_news(item.input_file, source_);
    print_news(item.output_file, output_);
  }
  bool has_printed() const { return source_.has_read() || output_.has_read(); }

private:
  static void print_news(const std::string& media, log_reader& reader) {
    if (media.empty()) { return; }
    const bool is_first = !reader.has_read();
    const std::string lines = reader.news(read_job_log(media));
    if (is_first && !lines.empty()) {
      print_line(printable("# " + metadata_folder_of(media) + "/" + job_log_name));
    }
    print_lines(lines);
  }

  log_reader source_;
  log_reader output_;
};

// True while the job continues.
bool look_at(vod_service& service, const std::string& id, job_log_printer& printer, int& status) {
  const service_reply reply = service.request(command_list, {{key_entry_id, id}});
  item_view item;
  if (!reply.accepted()) {
    status = report_reply(id, reply);
    return false;
  }
  if (!read_item(reply.data, item)) { return false; }
  // Read before the log, so that the log contains everything that a job wrote before its end.
  printer.print_news(item);
  status = item.cancelled() ? exit_failure : exit_success;
  return !item.done() && !item.cancelled();
}

int print_log(vod_service& service, const std::string& given, bool follow) {
  const auto selection = select_items(service, {given});
  if (selection.ids.empty()) { return selection.exit_status; }
  job_log_printer printer;
  int status = exit_success;
  while (look_at(service, selection.ids[0], printer, status) && follow) {
    std::this_thread::sleep_for(poll_interval);
  }
  if (follow) { return status; }
  if (printer.has_printed()) { return exit_success; }
  report(given, "no tool has written a log for it");
  return exit_failure;
}

}  // namespace

subcommand_action define_log(option_parser& parser) {
  const auto id = std::make_shared<std::string>();
  const auto follow = std::make_shared<bool>(false);
  parser.add_option("ID", *id, "Entry id, a unique prefix of one, or job:N").required();
  parser.add_flag("-f,--follow", *follow, "Keep printing until the job is done or cancelled");
  parser.set_footer(
      "The log of the source comes first; it has the runs of all jobs of that source.");
  return [=](vod_service& service) { return print_log(service, *id, *follow); };
}
