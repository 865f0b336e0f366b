// add: files into the queue.
#include "tools/common/command_line.h"
#include "tools/qx_vod_ctl/media_path.h"
#include "tools/qx_vod_ctl/report.h"
#include "tools/qx_vod_ctl/subcommand.h"

#include <algorithm>

namespace {

struct add_options {
  std::string profile;  // empty leaves the choice to the service
  bool delete_on_finish = false;
  bool hold = false;
};

name_values item_fields(const add_options& options, const std::string& path) {
  name_values fields = {{"input file", path}};
  if (!options.profile.empty()) fields.emplace_back("transcode profile", options.profile);
  if (options.delete_on_finish) fields.emplace_back("delete on finish", "1");
  return fields;
}

// Takes an item that will not become a job out of the queue again. Its source must survive that:
// removing an item that was to delete its source deletes it, if the refusal cancelled the item.
service_reply take_back(vod_service& service, const add_options& options, const std::string& id) {
  if (options.delete_on_finish) {
    auto reply = service.request("modify", {{"entry id", id}, {"delete on finish", "0"}});
    if (!reply.accepted()) return reply;
  }
  return service.request("remove", {{"entry id", id}});
}

// The reason for a refusal stands in the item's text; the reply only says that there was one.
int refuse_file(vod_service& service, const add_options& options, const std::string& file,
                const std::string& id, const service_reply& refusal) {
  item_view item;
  const bool has_reason = read_item(refusal.data, item) && !item.text.empty();
  report(file, has_reason ? item.text : refusal.text);
  const auto taken_back = take_back(service, options, id);
  if (!taken_back.accepted()) report(file, "left in the queue as " + id + ": " + taken_back.text);
  return refusal.exit_status;
}

struct named_file {
  std::string given;
  std::string path;
};

// Adding and making ready are two requests, so that a refusal comes with its reason.
int add_file(vod_service& service, const add_options& options, const named_file& file, bool json) {
  auto reply = service.request("add", item_fields(options, file.path));
  if (!reply.accepted()) return report_reply(file.given, reply);
  const std::string id = reply.pair("entry id");
  if (!options.hold) {
    reply = service.request("ready", {{"entry id", id}});
    if (reply.exit_status == exit_no_service) {
      report(file.given, "added as " + id + " but not made ready: " + reply.text);
      return reply.exit_status;
    }
    if (!reply.accepted()) return refuse_file(service, options, file.given, id, reply);
  }
  json ? print_raw(reply.data) : print_line(id);
  return 0;
}

// False, with the cause reported, when one of them has no path.
bool find_paths(const std::vector<std::string>& given, std::vector<named_file>& files) {
  const std::string folder = working_folder();
  for (const auto& name : given) {
    files.push_back({name, absolute_path(name, folder)});
    if (!files.back().path.empty()) continue;
    report(name, name.empty() ? "an empty file name" : "there is no working folder");
    return false;
  }
  return true;
}

int add_files(vod_service& service, const add_options& options,
              const std::vector<std::string>& given, bool json) {
  std::vector<named_file> files;
  if (!find_paths(given, files)) return exit_usage;
  int status = 0;
  for (const auto& file : files) {
    const int one = add_file(service, options, file, json);
    status = std::max(status, one);
    if (one == exit_no_service) break;
  }
  return status;
}

}  // namespace

subcommand_action define_add(CLI::App& parser) {
  const auto files = add_operands(parser, "FILE", "Media files, below a folder the service allows");
  const auto options = std::make_shared<add_options>();
  parser.add_option("--profile", options->profile,
                    "Profile to make; the best one that fits if not");
  parser.add_flag("--delete-on-finish", options->delete_on_finish,
                  "Delete the file and its metadata once its copy is finished");
  parser.add_flag("--hold", options->hold,
                  "Do not start it yet; the service drops it if \"ready\" does not follow in 15 s");
  const auto json = add_json_flag(parser);
  return [=](vod_service& service) { return add_files(service, *options, *files, *json); };
}
