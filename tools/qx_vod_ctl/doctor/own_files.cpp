#include "tools/qx_vod_ctl/doctor/own_files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>

#include <sys/stat.h>

#include "platform/forbidden_area.h"
#include "platform/paths.h"
#include "platform/queue_copies.h"
#include "platform/transcode_settings.h"
#include "rules/limits.h"
#include "rules/queue_document.h"
#include "tools/qx_vod_ctl/doctor/configuration.h"
#include "tools/qx_vod_ctl/doctor/file_owner.h"
#include "tools/qx_vod_ctl/text_file.h"

namespace {

// The service ignores a longer list.
constexpr std::size_t roots_limit = std::size_t{64} << 10;

// A write of the queue takes far less.
constexpr std::time_t longest_write_s = 60;

constexpr const char* media_check = "media folders";
constexpr const char* blanks = " \t\r";

// Read by others than root and the group that the service gives such files to.
bool is_read_by_others(const std::string& path, const struct stat& file) {
  struct stat folder = {};
  const bool is_folder_s_group =
      file.st_gid == 0 || (stat(path.substr(0, path.rfind('/') + 1).c_str(), &folder) == 0 &&
                           file.st_gid == folder.st_gid);
  return (file.st_mode & S_IROTH) != 0 || ((file.st_mode & S_IRGRP) != 0 && !is_folder_s_group);
}

finding unreadable(const char* check, const std::string& path, const text_file& file,
                   const std::string& advice) {
  const bool forbidden = file.error == EACCES;
  const std::string text = path + ": " + file.cause();
  return forbidden ? warning(check, text, "run it again as root") : problem(check, text, advice);
}

// Without blanks around it and a slash at its end; empty for a comment.
std::string root_of(const std::string& line) {
  const std::size_t first = line.find_first_not_of(blanks);
  if (first == std::string::npos || line[first] == '#') { return ""; }
  std::string root = line.substr(first, line.find_last_not_of(blanks) + 1 - first);
  if (root.size() > 1 && root.back() == '/') { root.pop_back(); }
  return root;
}

finding judge_root(const std::string& path, const std::string& root) {
  struct stat status = {};
  if (cgi_velmar_forbidden_area((root + "/x").c_str(), 0) != 0) {
    return warning(media_check, root + " in " + path + " is ignored: it cannot hold media",
                   "list an absolute path outside the system directories");
  }
  if (lstat(root.c_str(), &status) != 0) {
    return warning(media_check, root + ": " + std::strerror(errno),
                   "mount or create it, or remove it from " + path);
  }
  if (S_ISLNK(status.st_mode)) {
    return warning(media_check, root + " is a symbolic link, so the service ignores it",
                   "list its target instead, in " + path);
  }
  return fine(media_check, root);
}

// Whether the service reads the file.
bool is_whole(const queue_document& document) {
  std::string error;
  for (std::size_t i = 0; i < document.size() && error.empty(); ++i) {
    if (!document.is_too_large(i)) { document.job(i, error); }
  }
  return document.list_is_array() && error.empty();
}

}  // namespace

finding check_queue_file(const std::string& path, bool may_hold_password) {
  constexpr const char* check = "queue file";
  const text_file file = read_text_file(path, queue_file_size_limit);
  if (file.missing()) { return fine(check, path + " does not exist: the queue is empty or new"); }
  if (!file.read()) {
    return unreadable(check, path, file,
                      "restart the service, which sets it aside; then qx_vod_ctl queue restore");
  }
  const std::string writer = foreign_writer(file.status);
  if (!writer.empty()) {
    return problem(check, path + " can be changed by " + writer,
                   "chown root:root " + path + "; start the service with a umask of 022 or 077");
  }
  const queue_document document(file.text);
  if (!is_whole(document)) {
    return problem(check, path + " is damaged: the service would start with an empty queue",
                   "if the service is running, it rewrites the file when it stops; else it sets "
                   "the file aside when it starts: then qx_vod_ctl queue restore");
  }
  if (may_hold_password && is_read_by_others(path, file.status)) {
    return warning(check,
                   path + " is readable by others and may contain the remote server's password",
                   "chmod 600 " + path + "; the service keeps that mode");
  }
  return fine(check, path + ", " + std::to_string(document.size()) + " jobs");
}

finding_list check_unfinished_queue(const std::string& path) {
  struct stat status = {};
  if (lstat(path.c_str(), &status) != 0) { return {}; }
  if (std::time(nullptr) - status.st_mtim.tv_sec < longest_write_s) { return {}; }
  return {warning("queue file", path + " was left by an unfinished write",
                  "check the free disk space; the file may be removed")};
}

finding_list check_queue_copies() {
  const auto copies = queue_file_copies();
  if (copies.empty()) { return {}; }
  return {
      warning("queue file",
              "unreadable queue files were set aside: " + std::to_string(copies.size()) +
                  ", the latest as " + copies.back(),
              "look: qx_vod_ctl queue show; bring the jobs back: qx_vod_ctl queue restore; then "
              "remove it")};
}

finding_list check_media_roots(const std::string& path) {
  struct stat status = {};
  if (lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode)) {
    return {warning(media_check, path + " is a symbolic link: the service does not follow it",
                    "replace it with the list itself")};
  }
  const text_file file = read_text_file(path, roots_limit);
  if (file.missing()) { return {fine(media_check, "/mnt, /media and /srv; no " + path)}; }
  if (!file.read()) {
    return {unreadable(media_check, path, file, "make it a plain text list of directories")};
  }
  const std::string writer = foreign_writer(file.status);
  finding_list findings;
  if (!writer.empty()) {
    findings.push_back(
        problem(media_check,
                path + " can be changed by " + writer + ", who can thus decide what may be deleted",
                "chown root:root " + path + "; chmod 644 " + path));
  }
  for (std::size_t begin = 0; begin < file.text.size();) {
    const std::size_t end = std::min(file.text.find('\n', begin), file.text.size());
    const std::string root = root_of(file.text.substr(begin, end - begin));
    if (!root.empty()) { findings.push_back(judge_root(path, root)); }
    begin = end + 1;
  }
  if (findings.empty()) { findings.push_back(fine(media_check, "/mnt, /media and /srv")); }
  return findings;
}

finding_list check_own_files() {
  const text_file configuration_file = read_configuration_file();
  const configuration settings = read_configuration(configuration_file.text);
  finding_list findings = {
      check_queue_file(path_queue_file, settings.value(setting_password) != nullptr)};
  append(findings, check_unfinished_queue(path_queue_file_temporary));
  append(findings, check_queue_copies());
  append(findings, check_media_roots(path_media_roots));
  return findings;
}
