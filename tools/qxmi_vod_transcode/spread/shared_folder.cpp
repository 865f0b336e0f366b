#include "tools/qxmi_vod_transcode/spread/shared_folder.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/unique_dir.h"
#include "platform/unique_fd.h"
#include "tools/job_log/one_line.h"
#include "tools/media/segment_folder.h"
#include "tools/qxmi_vod_transcode/spread/shared_text.h"

namespace {

constexpr const char* paused_name = "paused";
constexpr const char* complaint_name = "complaint";
constexpr const char* refusal_prefix = "refuses-";
constexpr std::size_t longest_line = 4096;

std::string name_for(const char* what, const task_note& note) {
  return what + ("-" + note.token + "-");
}

std::string name_for(const char* what, const task_note& note, std::int64_t task) {
  return name_for(what, note) + std::to_string(task);
}

bool is_node_name(const std::string& text) {
  constexpr const char* allowed =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.";
  return !text.empty() && text.find_first_not_of(allowed) == std::string::npos;
}

// False with errno.
bool for_each_name(int folder, const std::function<void(const std::string&)>& act) {
  const int fd = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const unique_dir entries(fd < 0 ? nullptr : fdopendir(fd));
  if (!entries && fd >= 0) { close(fd); }
  if (!entries) { return false; }
  errno = 0;
  while (const dirent* entry = readdir(entries.get())) {
    act(entry->d_name);
    errno = 0;
  }
  return errno == 0;
}

// Adds the number of a task of the division, if `name` is `prefix` with that.
void add_number(const std::string& name, const std::string& prefix, const task_note& note,
                std::vector<std::int64_t>& numbers) {
  if (name.rfind(prefix, 0) != 0) { return; }
  const std::int64_t number = std::atoll(name.c_str() + prefix.size());
  const bool is_there = number >= 0 && number < static_cast<std::int64_t>(note.ranges.size());
  if (is_there && name == prefix + std::to_string(number)) { numbers.push_back(number); }
}

bool exists(int folder, const std::string& name) {
  struct stat status = {};
  return fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

}  // namespace

bool renew_lease(int folder) {
  return write_text(folder, segment_lease_name, "");
}

std::optional<std::int64_t> lease_age(int folder, const std::string& own) {
  struct stat lease = {};
  struct stat now = {};
  const bool known = write_text(folder, own, "") &&
                     fstatat(folder, segment_lease_name, &lease, AT_SYMLINK_NOFOLLOW) == 0 &&
                     fstatat(folder, own.c_str(), &now, AT_SYMLINK_NOFOLLOW) == 0;
  const int cause = errno;
  unlinkat(folder, own.c_str(), 0);
  errno = cause;
  if (!known) { return {}; }
  return now.st_mtim.tv_sec - lease.st_mtim.tv_sec;
}

void dismiss_tasks(int folder) {
  for (const char* const name : {task_note_name, segment_lease_name}) {
    unlinkat(folder, name, 0);
  }
}

bool set_paused(int folder, bool paused) {
  if (paused) { return write_text(folder, paused_name, ""); }
  return unlinkat(folder, paused_name, 0) == 0 || errno == ENOENT;
}

bool is_paused(int folder) {
  return exists(folder, paused_name);
}

void refresh_folder(int folder) {
  const unique_fd ignored(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

bool write_task_progress(int folder, const task_note& note, std::int64_t task,
                         const task_progress& progress) {
  return write_text(folder, name_for("progress", note, task),
                    std::to_string(progress.frames) + " " + std::to_string(progress.work));
}

task_progress read_task_progress(int folder, const task_note& note, std::int64_t task) {
  std::string text;
  task_progress progress;
  if (!read_text(folder, name_for("progress", note, task), longest_line, text)) { return {}; }
  std::istringstream(text) >> progress.frames >> progress.work;
  progress.frames = std::max<std::int64_t>(0, progress.frames);
  return progress;
}

bool set_task_done(int folder, const task_note& note, std::int64_t task) {
  return write_text(folder, name_for("done", note, task), "");
}

bool is_task_done(int folder, const task_note& note, std::int64_t task) {
  return exists(folder, name_for("done", note, task));
}

// Without the file, the node gets one more task and refuses that.
void set_refusing(int folder, const std::string& node) {
  write_text(folder, refusal_prefix + node, "");
}

bool list_task_files(int folder, const task_note& note, task_files& files) {
  const std::string refuses = refusal_prefix;
  return for_each_name(folder, [&](const std::string& name) {
    const std::string node = name.substr(std::min(name.size(), refuses.size()));
    if (name.rfind(refuses, 0) == 0 && is_node_name(node)) { files.refusing.push_back(node); }
    add_number(name, name_for("done", note), note, files.done);
    add_number(name, name_for("progress", note), note, files.begun);
  });
}

std::vector<std::string> refusing_nodes(int folder) {
  task_files files;
  // Without them, tasks are sent to nodes that refuse again.
  static_cast<void>(list_task_files(folder, {}, files));
  std::sort(files.refusing.begin(), files.refusing.end());
  return files.refusing;
}

void forget_refusals(int folder) {
  for (const std::string& node : refusing_nodes(folder)) {
    unlinkat(folder, (refusal_prefix + node).c_str(), 0);
  }
  unlinkat(folder, complaint_name, 0);
}

void write_complaint(int folder, const std::string& text) {
  // The tool finds out without it that the task has failed.
  write_text(folder, complaint_name, on_one_line(text).substr(0, longest_line));
}

std::string read_complaint(int folder) {
  std::string text;
  read_text(folder, complaint_name, longest_line, text);
  return on_one_line(text);
}
