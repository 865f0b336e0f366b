// add: files into the queue.
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>

#include <unistd.h>

#include "tools/client/offered_profiles.h"
#include "tools/command_line/command_line.h"
#include "tools/qx_vod_ctl/check/admission.h"
#include "tools/qx_vod_ctl/job_waiter.h"
#include "tools/qx_vod_ctl/media_folder.h"
#include "tools/qx_vod_ctl/media_path.h"
#include "tools/qx_vod_ctl/progress_line.h"
#include "tools/qx_vod_ctl/report.h"
#include "tools/qx_vod_ctl/subcommand.h"

namespace {

struct add_options {
  std::string profile;  // empty leaves the choice to the service
  bool delete_on_finish = false;
  bool hold = false;
  bool recursive = false;
  bool wait = false;
};

name_values item_fields(const add_options& options, const std::string& path) {
  name_values fields = {{"input file", path}};
  if (!options.profile.empty()) { fields.emplace_back("transcode profile", options.profile); }
  if (options.delete_on_finish) { fields.emplace_back("delete on finish", "1"); }
  return fields;
}

// Takes an item that will not become a job out of the queue again. Its source must survive that:
// removing an item that was to delete its source deletes it, if the refusal cancelled the item.
service_reply take_back(vod_service& service, const add_options& options, const std::string& id) {
  if (options.delete_on_finish) {
    auto reply = service.request("modify", {{"entry id", id}, {"delete on finish", "0"}});
    if (!reply.accepted()) { return reply; }
  }
  return service.request("remove", {{"entry id", id}});
}

// The reason for a refusal stands in the item's text; the reply only says that there was one.
int refuse_file(vod_service& service, const add_options& options, const std::string& file,
                const std::string& id, const service_reply& refusal) {
  item_view item;
  const bool has_reason = read_item(refusal.data, item) && !item.text.empty();
  const std::string reason = has_reason ? item.text : refusal.text;
  const std::string advice = advice_for(reason);
  report(file, advice.empty() ? reason : reason + "; " + advice);
  const auto taken_back = take_back(service, options, id);
  if (!taken_back.accepted()) {
    report(file, "left in the queue as " + id + ": " + taken_back.text);
  }
  return refusal.exit_status;
}

struct named_file {
  std::string given;
  std::string path;
};

// Why the file cannot be made into the profile that is asked for; empty where it can, and where
// only the service can tell.
std::string profile_problem(const add_options& options, const std::string& path) {
  constexpr std::chrono::minutes time_limit{2};
  if (options.profile.empty()) { return ""; }
  return profile_refusal(options.profile, offered_profiles(path, time_limit));
}

// Adding and making ready are two requests, so that a refusal comes with its reason.
int add_file(vod_service& service, const add_options& options, const named_file& file, bool json,
             std::vector<std::string>& added) {
  const std::string problem = profile_problem(options, file.path);
  if (!problem.empty()) {
    report(file.given, problem);
    return exit_refused;
  }
  auto reply = service.request("add", item_fields(options, file.path));
  if (!reply.accepted()) { return report_reply(file.given, reply); }
  const std::string id = reply.pair("entry id");
  if (!options.hold) {
    reply = service.request("ready", {{"entry id", id}});
    if (reply.exit_status == exit_no_service) {
      report(file.given, "added as " + id + " but not made ready: " + reply.text);
      return reply.exit_status;
    }
    if (!reply.accepted()) { return refuse_file(service, options, file.given, id, reply); }
  }
  json ? print_raw(reply.data) : print_line(id);
  added.push_back(id);
  return 0;
}

// Puts the files in place of their folder. False, with the cause reported, when it cannot be read.
bool expand_folder(const named_file& folder, std::vector<named_file>& files) {
  const media_folder found = read_media_folder(folder.path);
  for (const auto& [path, cause] : found.unreadable) {
    report(path == folder.path ? folder.given : path, cause);
  }
  for (const auto& path : found.files) {
    files.push_back({path, path});
  }
  if (found.passed_over > 0) {
    report(folder.given, std::to_string(found.passed_over) + " files passed over: by their names "
                                                             "they are no media");
  }
  return found.unreadable.empty();
}

bool is_folder(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_directory(path, error);
}

// Puts the media files of the folders in their place; returns the exit status.
int expand_folders(std::vector<named_file>& files) {
  std::vector<named_file> expanded;
  int status = 0;
  for (const auto& file : files) {
    if (!is_folder(file.path)) {
      expanded.push_back(file);
    } else if (!expand_folder(file, expanded)) {
      status = exit_refused;
    }
  }
  files = std::move(expanded);
  return status;
}

// Takes the folders away, each reported with what to do; returns the exit status.
int refuse_folders(std::vector<named_file>& files) {
  const auto refused = std::stable_partition(
      files.begin(), files.end(), [](const named_file& file) { return !is_folder(file.path); });
  for (auto folder = refused; folder != files.end(); ++folder) {
    report(folder->given, "a folder; --recursive (-r) adds the media files in it");
  }
  const int status = refused == files.end() ? 0 : exit_refused;
  files.erase(refused, files.end());
  return status;
}

// Progress goes where it does not mix with the lines that a script reads.
int follow_to_the_end(vod_service& service, const std::vector<std::string>& ids, bool json) {
  progress_line progress(stderr, true);
  const auto pause = [] { std::this_thread::sleep_for(std::chrono::milliseconds(500)); };
  job_waiter waiter(service, json, pause, isatty(STDERR_FILENO) != 0 ? &progress : nullptr);
  return waiter.wait(ids);
}

// False, with the cause reported, when one of them has no path.
bool find_paths(const std::vector<std::string>& given, std::vector<named_file>& files) {
  const std::string folder = working_folder();
  for (const auto& name : given) {
    files.push_back({name, absolute_path(name, folder)});
    if (!files.back().path.empty()) { continue; }
    report(name, name.empty() ? "an empty file name" : "there is no working directory");
    return false;
  }
  return true;
}

int add_files(vod_service& service, const add_options& options,
              const std::vector<std::string>& given, bool json) {
  std::vector<named_file> files;
  if (!find_paths(given, files)) { return exit_usage; }
  int status = options.recursive ? expand_folders(files) : refuse_folders(files);
  std::vector<std::string> added;
  for (const auto& file : files) {
    const int one = add_file(service, options, file, json, added);
    status = std::max(status, one);
    if (one == exit_no_service) { return status; }
  }
  return options.wait ? std::max(status, follow_to_the_end(service, added, json)) : status;
}

}  // namespace

subcommand_action define_add(option_parser& parser) {
  const auto files = add_operands(parser, "FILE", "Media files, below a folder the service allows");
  const auto options = std::make_shared<add_options>();
  add_profile_option(parser, options->profile,
                     "Profile to make, of those that the file offers; the best if not given");
  parser.add_flag("--delete-on-finish", options->delete_on_finish,
                  "Delete the file and its metadata once its copy is finished");
  const declared_option hold = parser.add_flag(
      "--hold", options->hold,
      "Do not start it yet; the service drops it if \"ready\" does not follow in 15 s");
  parser.add_flag("-r,--recursive", options->recursive,
                  "Of a folder add what is named like media, below it and its subfolders");
  parser.add_flag("--wait", options->wait, "Follow the jobs until each is done or cancelled")
      .excludes(hold);
  const auto json = add_json_flag(parser);
  return [=](vod_service& service) { return add_files(service, *options, *files, *json); };
}
