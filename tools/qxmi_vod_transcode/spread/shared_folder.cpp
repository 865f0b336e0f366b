#include "tools/qxmi_vod_transcode/spread/shared_folder.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <json11.hpp>

#include "platform/file_bytes.h"
#include "platform/unique_dir.h"
#include "platform/unique_fd.h"
#include "tools/job_log/one_line.h"
#include "tools/media/segment_folder.h"
#include "tools/qxmi_vod_transcode/random_word.h"

namespace {

constexpr const char* note_name = "tasks";
constexpr const char* paused_name = "paused";
constexpr const char* complaint_name = "complaint";
constexpr const char* refusal_prefix = "refuses-";
constexpr std::size_t longest_note = 1U << 20;
constexpr std::size_t longest_line = 4096;

// What a tool may write: see its options and settings.
constexpr int most_level = 7;
constexpr int most_threads = 1024;
constexpr int shortest_segment_s = 2;
constexpr int longest_segment_s = 600;
constexpr double most_segments = 1e6;
constexpr double longest_length = 1e7;

std::string name_for(const char* what, const task_note& note) {
  return what + ("-" + note.token + "-");
}

std::string name_for(const char* what, const task_note& note, std::int64_t task) {
  return name_for(what, note) + std::to_string(task);
}

// Readers see the old text or the new one. The temporary name is this process's own, and no name of
// anything that is looked for.
bool write_text(int folder, const std::string& name, const std::string& text) {
  const std::string part = name + "~" + process_word();
  unlinkat(folder, part.c_str(), 0);
  const unique_fd file(openat(folder, part.c_str(),
                              O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                              S_IRUSR | S_IWUSR));
  if (!file.valid()) { return false; }
  if (write_all(file.get(), text) && renameat(folder, part.c_str(), folder, name.c_str()) == 0) {
    return true;
  }
  const int cause = errno;
  unlinkat(folder, part.c_str(), 0);
  errno = cause;
  return false;
}

bool read_text(int folder, const std::string& name, std::size_t limit, std::string& text) {
  const unique_fd file(
      openat(folder, name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  return file.valid() && read_all(file.get(), limit, text);
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

json11::Json ranges_json(const std::vector<task_range>& ranges) {
  json11::Json::array all;
  for (const task_range& range : ranges) {
    all.push_back(
        json11::Json::array{static_cast<double>(range.first), static_cast<double>(range.end)});
  }
  return all;
}

bool read_ranges(const json11::Json& json, std::vector<task_range>& ranges) {
  for (const json11::Json& pair : json.array_items()) {
    const double first = pair[0].number_value();
    const double end = pair[1].number_value();
    if (first < 0.0 || end <= first || end > most_segments) { return false; }
    ranges.push_back({static_cast<std::int64_t>(first), static_cast<std::int64_t>(end)});
    if (ranges.back().size() <= 0) { return false; }
  }
  return !ranges.empty();
}

json11::Json lengths_json(const std::optional<measured_lengths>& lengths) {
  if (!lengths) { return {}; }
  return json11::Json::array{lengths->all, lengths->picture, lengths->sound, lengths->jump_limit};
}

// None is as good as the tool's own.
bool read_lengths(const json11::Json& json, std::optional<measured_lengths>& lengths) {
  lengths.reset();
  if (json.is_null()) { return true; }
  const measured_lengths read = {json[0].number_value(), json[1].number_value(),
                                 json[2].number_value(), json[3].number_value()};
  for (const double one : {read.all, read.picture, read.sound, read.jump_limit}) {
    if (!(one >= 0.0 && one <= longest_length)) { return false; }
  }
  lengths = read;
  return read.all > 0.0;
}

bool is_between(int number, int least, int most) {
  return number >= least && number <= most;
}

}  // namespace

bool write_task_note(int folder, const task_note& note) {
  const json11::Json json = json11::Json::object{{"token", note.token},
                                                 {"source", note.source},
                                                 {"profile", note.profile},
                                                 {"level", note.level},
                                                 {"threads", note.threads},
                                                 {"segment_seconds", note.segment_seconds},
                                                 {"last_is_open", note.last_is_open},
                                                 {"lengths", lengths_json(note.lengths)},
                                                 {"version", note.version},
                                                 {"ranges", ranges_json(note.ranges)}};
  return write_text(folder, note_name, json.dump());
}

bool read_task_note(int folder, task_note& note) {
  std::string text;
  std::string error;
  if (!read_text(folder, note_name, longest_note, text)) { return false; }
  errno = 0;
  const json11::Json json = json11::Json::parse(text, error);
  note.token = json["token"].string_value();
  note.source = json["source"].string_value();
  note.profile = json["profile"].string_value();
  note.level = json["level"].int_value();
  note.threads = json["threads"].int_value();
  note.segment_seconds = json["segment_seconds"].int_value();
  note.last_is_open = json["last_is_open"].bool_value();
  note.version = json["version"].string_value();
  note.ranges.clear();
  return read_ranges(json["ranges"], note.ranges) && read_lengths(json["lengths"], note.lengths) &&
         !note.token.empty() && !note.source.empty() && is_between(note.level, 0, most_level) &&
         is_between(note.threads, 1, most_threads) &&
         is_between(note.segment_seconds, shortest_segment_s, longest_segment_s);
}

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
  for (const char* const name : {note_name, segment_lease_name}) {
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
