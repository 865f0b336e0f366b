// Restores jobs through a running service, or into the queue file of one that is stopped.
#include "tools/qx_vod_ctl/queue_copy/restore.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/guarded_file.h"
#include "platform/paths.h"
#include "platform/replacement_file.h"
#include "rules/control_words.h"
#include "rules/json_keys.h"
#include "rules/limits.h"
#include "rules/states.h"
#include "tools/client/queue_reader.h"
#include "tools/command_line/command_line.h"
#include "tools/qx_vod_ctl/doctor/service_process.h"
#include "tools/qx_vod_ctl/report.h"
#include "tools/qx_vod_ctl/text_file.h"

namespace {

// Set to ready in the same request, so that a refused job is not left in the queue.
name_values fields_of(const item_view& item) {
  name_values fields = {{key_input_file, item.input_file}, {key_state, name_of(TRANSCODE_READY)}};
  if (!item.profile.empty()) { fields.emplace_back(key_profile, item.profile); }
  if (item.delete_on_finish) { fields.emplace_back(key_delete_on_finish, "1"); }
  if (item.paused) { fields.emplace_back(key_paused, "1"); }
  return fields;
}

std::string sum_of(std::size_t restored, std::size_t stored) {
  return std::to_string(restored) + " of " + std::to_string(stored) + " jobs restored";
}

// Adds one job; returns the exit status.
int add_job(vod_service& service, const item_view& item) {
  auto reply = service.request(command_add, fields_of(item));
  if (reply.accepted()) {
    print_line(reply.pair(key_entry_id));
    return exit_success;
  }
  if (reply.exit_status == exit_refused) { reply.advice = "see: qx_vod_ctl check FILE"; }
  return report_reply(item.input_file, reply);
}

std::vector<item_view> items_of(const queue_listing& listing) {
  std::vector<item_view> items;
  for (const auto& listed : listing.items) {
    items.push_back(listed.item);
  }
  return items;
}

// The jobs that the queue file holds now. False, with the cause reported, when it cannot be read.
bool read_present(stored_queue& present) {
  const text_file file = read_text_file(path_queue_file, queue_file_size_limit);
  if (file.missing()) { return true; }
  if (!file.read()) {
    report(path_queue_file, file.cause());
    return false;
  }
  present = read_stored_queue(file.text);
  if (present.damaged) {
    report(path_queue_file,
           "cannot be read either; start the service first, which sets the file aside");
  }
  return !present.damaged;
}

int write_queue_file(const std::string& text) {
  if (text.size() > queue_file_size_limit) {
    report(path_queue_file, "would be too long for the service to read");
    return exit_failure;
  }
  replacement_file file(create_guarded_file(path_queue_file_temporary, path_queue_file),
                        path_queue_file_temporary);
  const bool is_written =
      file.valid() && file.write(text) && file.sync() && file.rename_to(path_queue_file);
  if (is_written) { return exit_success; }
  report(path_queue_file, std::strerror(errno));
  return exit_failure;
}

}  // namespace

int restore_by_adding(vod_service& service, const stored_queue& stored) {
  queue_listing listing;
  service_reply failure;
  if (!read_queue(service, queue_range(), listing, failure)) { return report_reply("", failure); }
  int status = exit_success;
  std::size_t added = 0;
  for (const auto& job : missing_jobs(stored.jobs, items_of(listing))) {
    if (!is_unfinished(job.item)) { continue; }
    const int one = add_job(service, job.item);
    added += one == exit_success ? 1U : 0U;
    status = std::max(status, one);
    if (one == exit_no_service) { break; }
  }
  report("", sum_of(added, stored.jobs.size()));
  return status;
}

int restore_into_file(const stored_queue& stored) {
  stored_queue present;
  if (!read_present(present)) { return exit_failure; }
  std::vector<item_view> items;
  for (const auto& job : present.jobs) {
    items.push_back(job.item);
  }
  const auto missing = missing_jobs(stored.jobs, items);
  const int status = write_queue_file(queue_file_text(present.jobs, missing));
  if (status != exit_success) { return status; }
  report("", sum_of(missing.size(), stored.jobs.size()));
  service_process started;
  if (find_service_process(path_control_socket, started)) {
    report("", "the service has started in the meantime: run restore again");
    return exit_failure;
  }
  return exit_success;
}
