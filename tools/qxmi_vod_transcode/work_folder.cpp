#include "tools/qxmi_vod_transcode/work_folder.h"

#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/directories.h"
#include "platform/file_bytes.h"
#include "platform/replacement_file.h"
#include "platform/trusted_path.h"
#include "tools/media/confined_call.h"
#include "tools/media/segment_folder.h"
#include "tools/media/tool_signals.h"
#include "tools/qxmi_vod_transcode/content_sum.h"
#include "tools/qxmi_vod_transcode/random_word.h"
#include "tools/qxmi_vod_transcode/segment_record.h"
#include "tools/qxmi_vod_transcode/spread/shared_folder.h"

namespace {

using clock_type = std::chrono::steady_clock;

constexpr std::chrono::seconds patience{2};
constexpr std::chrono::milliseconds attempt_interval{20};

constexpr std::size_t longest_key = 65536;

constexpr std::chrono::seconds look_limit{30};
constexpr const char* unreadable = "unreadable";

const std::string part_ending = ".part";

bool fail(std::string& error) {
  error = std::strerror(errno);
  return false;
}

std::string folder_name(const std::string& key) {
  content_sum sum;
  sum.add(key);
  return segment_folder_prefix + hexadecimal(sum.value());
}

bool holds(int folder, const char* name, const std::string& expected) {
  const unique_fd file(openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  std::string text;
  return file.valid() && read_all(file.get(), longest_key, text) && text == expected;
}

enum class key_state { right, other, not_read };

// With errno if it could not be read.
key_state state_of_key(int folder, const std::string& expected) {
  errno = 0;
  const unique_fd file(
      openat(folder, segment_key_name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  std::string text;
  if (file.valid() && read_all(file.get(), longest_key, text)) {
    return text == expected ? key_state::right : key_state::other;
  }
  return may_be_readable_later(errno) ? key_state::not_read : key_state::other;
}

bool write_new(int folder, const std::string& name, const std::string& text) {
  const std::string part = name + part_ending;
  unlinkat(folder, part.c_str(), 0);
  unique_fd fd(openat(folder, part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                      S_IRUSR | S_IWUSR));
  replacement_file file(std::move(fd), part, folder);
  return file.valid() && file.write(text) && file.sync() && file.rename_to(name);
}

// Whether an engine can read what this tool writes there: the right of root to read everything ends
// at a server. If that cannot be found out, it is not known to be otherwise.
bool is_readable_for_engines(int folder) {
  sandbox limits;
  limits.is_program = false;
  limits.readable = {folder};
  std::string answer;
  std::string error;
  const auto look = [folder] {
    const unique_fd file(openat(folder, segment_key_name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    const bool is_refused = !file.valid() && (errno == EACCES || errno == EPERM);
    return std::string(is_refused ? unreadable : "");
  };
  return !call_confined(limits, look_limit, look, answer, error) || answer != unreadable;
}

}  // namespace

run_folder::run_folder(int folder, std::string name) : folder_(folder), name_(std::move(name)) {
  remove_run_folder(folder_, name_);
  if (mkdirat(folder_, name_.c_str(), S_IRWXU) != 0) { return; }
  fd_.reset(openat(folder_, name_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

run_folder::~run_folder() {
  if (fd_.valid()) { remove_run_folder(folder_, name_); }
}

work_folder::~work_folder() {
  if (is_private_) { remove(); }
}

// False with errno; EWOULDBLOCK or ENOENT if the folder may be free in a moment.
bool work_folder::take(const std::string& name) {
  lock_.reset();
  folder_.reset();
  name_ = name;
  const bool is_new = mkdirat(directory_.get(), name.c_str(), S_IRWXU) == 0;
  if (!is_new && errno != EEXIST) { return false; }
  folder_ = open_segment_folder(directory_.get(), name);
  if (!folder_.valid()) {
    const int cause = errno;
    // Not every file system gives new folders the mode and the owner that they should have.
    if (is_new) { unlinkat(directory_.get(), name.c_str(), AT_REMOVEDIR); }
    errno = cause;
    return false;
  }
  lock_ = lock_segment_folder(directory_.get(), name, fd(),
                              is_private_ ? without_locks::accepted : without_locks::refused);
  const int cause = errno;
  if (lock_.valid() && is_new) { sync_directory(directory_.get()); }
  if (!lock_.valid() && is_new && cause != EWOULDBLOCK) {
    remove_segment_folder(directory_.get(), name, fd(), {});
  }
  errno = cause;
  return lock_.valid();
}

// A tool that was killed, and whose job was started again at once, may still be about to end.
bool work_folder::take_in_time(const std::string& name) {
  const clock_type::time_point deadline = clock_type::now() + patience;
  while (!take(name)) {
    const bool may_be_free_soon = errno == EWOULDBLOCK || errno == ENOENT;
    if (!may_be_free_soon || stop_signal() != 0 || clock_type::now() >= deadline) { return false; }
    wait_for_tool_signals(attempt_interval);
  }
  return true;
}

// A folder without its key, or with another one, holds nothing of use. Trouble with a disk or a
// server may pass; if it does not, that is all the same.
bool work_folder::takes_over(const std::string& key) {
  const key_state state = state_of_key(fd(), key);
  if (state == key_state::right) { return true; }
  const int error = errno;
  is_unreadable_ =
      state == key_state::not_read && read_sealed_line(fd(), unreadable_note) != segment_key_name;
  if (is_unreadable_) {
    write_sealed_line(fd(), unreadable_note, segment_key_name, unreadable_note + part_ending);
    errno = error;
    return false;
  }
  empty_segment_folder(fd());
  return write_new(fd(), segment_key_name, key);
}

bool work_folder::prepare(const std::string& key, const std::string& source) {
  remove_false_files(fd());
  if (!takes_over(key)) { return false; }
  if (!is_readable_for_engines(fd())) {
    errno = EACCES;
    return false;
  }
  // Nodes of a cluster may still work for a tool that was just killed.
  const auto age = lease_age(fd(), run_folder_name("now"));
  if (!age || *age > lease_term_s) { remove_run_folders(fd()); }
  return holds(fd(), segment_source_name, source) || write_new(fd(), segment_source_name, source);
}

bool work_folder::open(const std::string& output, const std::string& key, const std::string& source,
                       std::string& error) {
  directory_ = open_directory_of(output, result_);
  if (!directory_.valid()) { return fail(error); }
  const std::string name = folder_name(key);
  if (!take_in_time(name)) {
    if (stop_signal() != 0) {
      error = "stopped";
      return false;
    }
    is_private_ = true;
    if (!take(private_segment_folder(name))) { return fail(error); }
  }
  return prepare(key, source) || fail(error);
}

std::string own_machine() {
  char name[HOST_NAME_MAX + 1] = "";
  gethostname(name, sizeof name - 1);
  return name;
}

std::string run_folder_name(const std::string& name) {
  return segment_run_prefix + ("-" + name + "-") + own_machine() + "-" + std::to_string(getpid()) +
         "-" + process_word();
}

// Without the note, the folder of a tool that is killed then only stays longer.
void work_folder::note_result(int result) const {
  struct stat status = {};
  if (fstat(result, &status) != 0) { return; }
  write_new(fd(), segment_result_name, segment_result_text(result_, status));
}

void work_folder::remove() {
  if (lock_.valid()) {
    remove_segment_folder(directory_.get(), name_, fd(), std::exchange(lock_, unique_fd()));
  }
  folder_.reset();
}
