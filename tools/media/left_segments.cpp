#include "tools/media/left_segments.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/file_bytes.h"
#include "platform/text.h"
#include "platform/unique_dir.h"

namespace {

constexpr std::size_t longest_source_text = PATH_MAX + 100;
constexpr long day_s = 24L * 60 * 60;

enum class folder_fate { kept, removed };
enum class without_locks { accepted, refused };

bool is_entry(const dirent* entry) {
  const std::string name = entry->d_name;
  return name != "." && name != "..";
}

// Opened anew, because a stream has the place of its descriptor in common with it.
unique_dir entries_of(int folder) {
  const int fd = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  unique_dir entries(fd < 0 ? nullptr : fdopendir(fd));
  if (!entries && fd >= 0) { close(fd); }
  return entries;
}

void remove_files(int folder, const std::string& except = "") {
  const unique_dir entries = entries_of(folder);
  while (const dirent* entry = entries ? readdir(entries.get()) : nullptr) {
    if (!is_entry(entry) || entry->d_name == except) { continue; }
    if (unlinkat(folder, entry->d_name, 0) != 0) { unlinkat(folder, entry->d_name, AT_REMOVEDIR); }
  }
}

unsigned long long bytes_in(int folder) {
  unsigned long long bytes = 0;
  const unique_dir entries = entries_of(folder);
  while (const dirent* entry = entries ? readdir(entries.get()) : nullptr) {
    struct stat status = {};
    const bool counts = fstatat(folder, entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
                        S_ISREG(status.st_mode);
    if (counts) { bytes += static_cast<unsigned long long>(status.st_size); }
  }
  return bytes;
}

unique_fd lock(int directory, const std::string& name, int folder, without_locks missing) {
  unique_fd file(
      openat(folder, segment_lock_name, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file.valid()) { return file; }
  const bool locked = flock(file.get(), LOCK_EX | LOCK_NB) == 0;
  const bool may_be_missing = missing == without_locks::accepted && errno != EWOULDBLOCK;
  if (!(locked || may_be_missing) || !has_name(folder, directory, name)) { file.reset(); }
  return file;
}

// False also if the source cannot be looked at just now.
bool source_is_gone(int folder) {
  const unique_fd file(openat(folder, segment_source_name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  std::string text;
  if (!file.valid() || !read_all(file.get(), longest_source_text, text) || text.empty()) {
    return true;
  }
  const std::string path = text.substr(std::min(text.find('\n'), text.size() - 1) + 1);
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) { return errno == ENOENT || errno == ENOTDIR; }
  return segment_source_text(path, status) != text;
}

bool is_abandoned(int folder, int keep_days) {
  struct stat status = {};
  if (fstat(folder, &status) != 0) { return false; }
  return std::time(nullptr) - status.st_mtim.tv_sec > keep_days * day_s || source_is_gone(folder);
}

// Counts the folder, which nobody uses, and removes it if it shall be.
void take(int directory, const std::string& name, int folder, folder_fate fate,
          left_part_sums& sums) {
  const unsigned long long bytes = bytes_in(folder);
  if (fate == folder_fate::removed && !remove_segment_folder(directory, name, folder)) { return; }
  ++sums.count;
  sums.bytes += bytes;
}

left_part_sums look_through(const std::string& path, left_segments which, int keep_days,
                            folder_fate fate) {
  left_part_sums sums;
  const unique_dir directory(opendir(path.c_str()));
  while (const dirent* entry = directory ? readdir(directory.get()) : nullptr) {
    const std::string name = entry->d_name;
    if (!begins_with(name, segment_folder_prefix)) { continue; }
    const int fd = dirfd(directory.get());
    const unique_fd folder = open_segment_folder(fd, name);
    if (!folder.valid()) { continue; }
    // Before the lock, which changes an incomplete folder.
    const bool abandoned = which == left_segments::all || is_abandoned(folder.get(), keep_days);
    if (!abandoned) { continue; }
    const unique_fd held = lock(fd, name, folder.get(), without_locks::refused);
    if (held.valid()) { take(fd, name, folder.get(), fate, sums); }
  }
  return sums;
}

}  // namespace

std::string segment_source_text(const std::string& path, const struct stat& status) {
  return std::to_string(status.st_size) + " " + std::to_string(status.st_mtim.tv_sec) + "." +
         std::to_string(status.st_mtim.tv_nsec) + "\n" + path;
}

unique_fd open_segment_folder(int directory, const std::string& name) {
  unique_fd folder(
      openat(directory, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat status = {};
  const bool own = folder.valid() && fstat(folder.get(), &status) == 0 &&
                   status.st_uid == geteuid() && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
  return own ? std::move(folder) : unique_fd();
}

unique_fd lock_segment_folder(int directory, const std::string& name, int folder) {
  return lock(directory, name, folder, without_locks::accepted);
}

void remove_run_folder(int folder) {
  const unique_fd run(
      openat(folder, segment_run_folder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!run.valid()) { return; }
  remove_files(run.get());
  unlinkat(folder, segment_run_folder, AT_REMOVEDIR);
}

void empty_segment_folder(int folder) {
  remove_run_folder(folder);
  remove_files(folder, segment_lock_name);
}

bool remove_segment_folder(int directory, const std::string& name, int folder) {
  remove_run_folder(folder);
  remove_files(folder);
  return has_name(folder, directory, name) && unlinkat(directory, name.c_str(), AT_REMOVEDIR) == 0;
}

left_part_sums find_left_segments(const std::string& directory, left_segments which,
                                  int keep_days) {
  return look_through(directory, which, keep_days, folder_fate::kept);
}

left_part_sums remove_left_segments(const std::string& directory, left_segments which,
                                    int keep_days) {
  return look_through(directory, which, keep_days, folder_fate::removed);
}
