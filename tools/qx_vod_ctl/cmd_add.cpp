// add: files into the queue.
#include <algorithm>
#include <chrono>
#include <filesystem>

#include <unistd.h>

#include "tools/client/advice.h"
#include "tools/client/submission.h"
#include "tools/command_line/command_line.h"
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

struct named_file {
  std::string given;
  std::string path;
};

// The reason for a refusal is in the item's text; the reply only says that there was one.
int report_refusal(const std::string& file, const submission& made) {
  item_view item;
  const bool has_reason = read_item(made.reply.data, item) && !item.text.empty();
  const std::string reason = has_reason ? item.text : made.reply.text;
  const std::string advice = advice_for(reason);
  report(file, advice.empty() ? reason : reason + "; " + advice);
  if (!made.taken_back.accepted()) {
    report(file, "still in the queue as " + made.entry_id + ": " + made.taken_back.text);
  }
  return made.reply.exit_status;
}

int report_submission(const std::string& file, const submission& made) {
  switch (made.end) {
  case submission::step::refused_at_add:
    return report_reply(file, made.reply);
  case submission::step::refused_at_ready:
    return report_refusal(file, made);
  case submission::step::not_made_ready:
    report(file, "added as " + made.entry_id + " but not made ready: " + made.reply.text);
    return made.reply.exit_status;
  case submission::step::added:
    break;
  }
  return 0;
}

int add_file(vod_service& service, const add_options& options, const named_file& file, bool json,
             std::vector<std::string>& added) {
  constexpr std::chrono::minutes time_limit{2};
  const std::string problem = profile_problem(options.profile, file.path, {}, time_limit);
  if (!problem.empty()) {
    report(file.given, problem);
    return exit_refused;
  }
  const new_job job = {file.path, options.profile, options.delete_on_finish};
  const submission made = submit(service, job, options.hold);
  if (made.end != submission::step::added) { return report_submission(file.given, made); }
  json ? print_raw(made.reply.data) : print_line(made.entry_id);
  added.push_back(made.entry_id);
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
  if (found.skipped > 0) {
    report(folder.given, "skipped " + std::to_string(found.skipped) +
                             (found.skipped == 1 ? " file" : " files") +
                             " without a media extension");
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
    report(folder->given, "is a directory; --recursive (-r) adds the media files in it");
  }
  const int status = refused == files.end() ? 0 : exit_refused;
  files.erase(refused, files.end());
  return status;
}

// Progress goes where it does not mix with the lines that a script reads.
int follow_to_the_end(vod_service& service, const std::vector<std::string>& ids, bool json) {
  progress_line progress(stderr, true);
  job_waiter waiter(service, json, pause_between_looks,
                    isatty(STDERR_FILENO) != 0 ? &progress : nullptr);
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
  const auto files =
      add_operands(parser, "FILE", "Media files below a directory that the service allows");
  const auto options = std::make_shared<add_options>();
  add_profile_option(parser, options->profile,
                     "Encoding profile (default: the best one that fits)");
  parser.add_flag("--delete-on-finish", options->delete_on_finish,
                  "Delete the file and its metadata when its VOD is finished");
  const declared_option hold = parser.add_flag(
      "--hold", options->hold,
      "Do not start the job yet; the service drops it unless \"ready\" follows within 15 s");
  parser.add_flag("-r,--recursive", options->recursive,
                  "Add the media files in a directory and its subdirectories");
  parser.add_flag("--wait", options->wait, "Show the progress until every job is done or cancelled")
      .excludes(hold);
  const auto json = add_json_flag(parser);
  return [=](vod_service& service) { return add_files(service, *options, *files, *json); };
}
