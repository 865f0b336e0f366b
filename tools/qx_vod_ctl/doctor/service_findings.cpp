// Looks at the running service.
#include "tools/qx_vod_ctl/doctor/service_findings.h"

#include <cerrno>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

#include "platform/paths.h"
#include "rules/control_words.h"
#include "tools/client/queue_reader.h"
#include "tools/qx_vod_ctl/doctor/configuration.h"
#include "tools/qx_vod_ctl/doctor/file_owner.h"
#include "tools/qx_vod_ctl/held_job.h"
#include "tools/qx_vod_ctl/terminal_text.h"

namespace {

constexpr const char* start_advice =
    "start qx_vod_service; if it cannot run, it says why on standard error";

finding judge_answer(vod_service& service, const std::string& socket_path) {
  const service_reply reply = service.request(command_test, {});
  if (reply.accepted()) { return fine("service", "runs and answers"); }
  if (access(socket_path.c_str(), W_OK) != 0 && errno == EACCES) {
    return warning("service", "this user may not connect to it", "run it again as root");
  }
  return problem("service", reply.text, start_advice);
}

std::string users_of(const struct stat& status) {
  if ((status.st_mode & S_IWGRP) == 0) { return "user " + user_name(status.st_uid); }
  return "user " + user_name(status.st_uid) + " and group " + group_name(status.st_gid);
}

}  // namespace

finding check_socket(const std::string& socket_path) {
  struct stat status = {};
  if (lstat(socket_path.c_str(), &status) != 0) {
    return problem("socket", socket_path + ": " + std::strerror(errno), start_advice);
  }
  if (!S_ISSOCK(status.st_mode)) {
    return problem("socket", socket_path + " is not a socket",
                   "move it away and start qx_vod_service");
  }
  if ((status.st_mode & S_IWOTH) != 0) {
    return problem("socket",
                   "anyone on this machine can control the queue and have sources deleted: " +
                       socket_path + " has mode " + mode_text(status.st_mode),
                   "start the service with umask 022; give users access through the group qx-vod, "
                   "as its unit does");
  }
  return fine("socket", "the queue can be controlled by " + users_of(status));
}

finding_list judge_process(const service_process& process, const text_file& configuration) {
  finding_list findings;
  if (process.replaced) {
    findings.push_back(warning("service",
                               process.executable + " has been replaced since the service started",
                               "restart the service"));
  }
  if (process.started != 0 && configuration.read() &&
      configuration.status.st_mtim.tv_sec > process.started) {
    findings.push_back(
        warning("service", std::string(path_vod_conf) + " has changed since the service started",
                "restart the service: it reads the file only when it starts"));
  }
  return findings;
}

finding_list check_service(vod_service& service, const std::string& socket_path) {
  finding_list findings = {check_socket(socket_path)};
  if (access(socket_path.c_str(), F_OK) != 0) { return findings; }
  findings.push_back(judge_answer(service, socket_path));
  service_process process;
  if (find_service_process(socket_path, process)) {
    append(findings, judge_process(process, read_configuration_file()));
  }
  append(findings, check_held_jobs(service));
  return findings;
}

finding_list check_held_jobs(vod_service& service) {
  queue_listing listing;
  service_reply failure;
  finding_list findings;
  if (!read_queue(service, {}, listing, failure)) {
    return findings;  // judge_answer() reports the reason
  }
  for (const auto& listed : listing.items) {
    const held_job held = look_at_held(listed.item);
    if (held.reason.empty()) { continue; }
    findings.push_back(
        warning("remote job", printable(listed.item.entry_id) + ": " + held.reason, held.advice));
  }
  return findings;
}
