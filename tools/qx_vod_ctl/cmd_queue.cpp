// queue: copies of queue files that could not be read, listed, shown and restored.
#include <cstdio>
#include <cstring>

#include "platform/paths.h"
#include "platform/queue_copies.h"
#include "platform/text.h"
#include "rules/json_keys.h"
#include "rules/json_text.h"
#include "tools/command_line/command_line.h"
#include "tools/qx_vod_ctl/doctor/service_process.h"
#include "tools/qx_vod_ctl/item_table.h"
#include "tools/qx_vod_ctl/queue_copy/restore.h"
#include "tools/qx_vod_ctl/report.h"
#include "tools/qx_vod_ctl/subcommand.h"
#include "tools/qx_vod_ctl/text_file.h"

namespace {

// Longer than any queue that a service wrote: a copy may be one that was too long to be read.
constexpr std::size_t copy_limit = std::size_t{256} << 20U;

struct queue_options {
  std::string action = "list";
  std::string copy;  // the beginning of a time; empty means the latest
  bool json = false;
};

// "20261122T013005Z"
std::string time_of(const std::string& path) {
  return path.substr(std::strlen(path_queue_copy_prefix));
}

// The latest copy whose time begins so; empty when there is none.
std::string find_copy(const std::string& given) {
  std::string found;
  for (const auto& path : queue_file_copies()) {
    if (begins_with(time_of(path), given)) { found = path; }
  }
  return found;
}

// A job's command line can hold the password of another server.
json11::Json without_command_line(const stored_job& job) {
  auto keys = job.document.object_items();
  keys.erase(key_process_argv);
  return keys;
}

json11::Json copy_json(const std::string& path) {
  const text_file file = read_text_file(path, copy_limit);
  const stored_queue queue = read_stored_queue(file.text);
  return json11::Json::object{{"copy", time_of(path)},
                              {"path", path},
                              {"size", static_cast<double>(file.status.st_size)},
                              {"jobs", static_cast<int>(queue.jobs.size())},
                              {"error", file.read() ? "" : file.cause()}};
}

std::string copy_line(const json11::Json& copy) {
  const std::string& error = copy["error"].string_value();
  const std::string size = std::to_string(static_cast<long long>(copy["size"].number_value()));
  return copy["copy"].string_value() + "  " + size + " bytes  " +
         (error.empty() ? std::to_string(copy["jobs"].int_value()) + " jobs readable" : error);
}

int list_copies(bool json) {
  const auto copies = queue_file_copies();
  json11::Json::array list;
  for (const auto& path : copies) {
    list.push_back(copy_json(path));
  }
  if (json) {
    print_line(json_text(list));
    return exit_success;
  }
  if (copies.empty()) { report("", "no queue file was set aside"); }
  for (const auto& copy : list) {
    print_line(copy_line(copy));
  }
  return exit_success;
}

int show_copy(const stored_queue& queue, bool json) {
  json11::Json::array documents;
  std::vector<listed_item> items;
  for (const auto& job : queue.jobs) {
    documents.push_back(without_command_line(job));
    items.push_back({items.size(), job.item});
  }
  if (json) {
    print_line(json_text(documents));
  } else {
    std::fputs(item_table(items).c_str(), stdout);
  }
  return exit_success;
}

int restore_copy(vod_service& service, const stored_queue& queue) {
  service_process running;
  return find_service_process(path_control_socket, running) ? restore_by_adding(service, queue)
                                                            : restore_into_file(queue);
}

int run_queue(vod_service& service, const queue_options& options) {
  if (options.action == "list") { return list_copies(options.json); }
  const std::string path = find_copy(options.copy);
  if (path.empty()) {
    report(options.copy, "no such copy: see qx_vod_ctl queue");
    return exit_no_such_item;
  }
  const text_file file = read_text_file(path, copy_limit);
  if (!file.read()) {
    report(path, file.cause());
    return exit_failure;
  }
  const stored_queue queue = read_stored_queue(file.text);
  if (queue.jobs.empty()) {
    report(path, "contains no complete job");
    return exit_failure;
  }
  return options.action == "show" ? show_copy(queue, options.json) : restore_copy(service, queue);
}

}  // namespace

subcommand_action define_queue(option_parser& parser) {
  const auto options = std::make_shared<queue_options>();
  parser.add_option("ACTION", options->action, "list, show or restore (default: list)")
      .one_of_described({"list", "show", "restore"});
  parser.add_option("COPY", options->copy,
                    "Time of the copy, or a prefix of it (default: the latest)");
  parser.add_flag("--json", options->json, "Print the list, or the jobs shown, as a JSON array");
  parser.set_footer(
      "\"restore\" adds the missing unfinished jobs to the running service or, if it is\n"
      "stopped, to its queue file. Existing jobs are not changed.");
  return [options](vod_service& service) { return run_queue(service, *options); };
}
