#include "tools/media/left_segments.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <ctime>
#include <functional>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

#include "platform/file_bytes.h"
#include "platform/limited_look.h"
#include "platform/mount_table.h"
#include "platform/text.h"
#include "platform/trusted_path.h"
#include "platform/unique_dir.h"
#include "tools/media/descriptors.h"
#include "tools/media/segment_folder.h"

namespace {

constexpr std::size_t longest_record = PATH_MAX + 100;
constexpr std::time_t day_s = std::time_t{24} * 60 * 60;
constexpr std::time_t lease_s = 60;

// What a look at a source finds if it is not there, or cannot be looked at.
constexpr const char* missing = "missing";
constexpr const char* unknown = "unknown";

enum class folder_fate { kept, removed };

struct left_folder {
  int directory;
  std::string name;
  int folder;
  std::time_t age;  // seconds since the last change in it
};

std::time_t age_of(const struct stat& status) {
  return std::time(nullptr) - status.st_mtim.tv_sec;
}

bool is_leased(int folder) {
  struct stat status = {};
  return fstatat(folder, segment_lease_name, &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         age_of(status) < lease_s;
}

// False with errno.
bool read_record(int folder, const char* name, std::string& text) {
  const unique_fd file(openat(folder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  return file.valid() && read_all(file.get(), longest_record, text);
}

std::string look_at(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) == 0) { return segment_source_text(path, status); }
  return errno == ENOENT || errno == ENOTDIR ? missing : unknown;
}

// The dot has the last component followed too if it is a link.
std::string look_in_time(const std::string& path) {
  const auto mount = foreign_mount_of(current_mounts(), path + "/.");
  if (!mount) { return look_at(path); }
  const auto look = [&] {
    // Whoever reads from this program waits until these are closed, and the look may never end.
    return silence_standard_descriptors() ? look_at(path) : unknown;
  };
  return look_within_limit(*mount, path, look).value_or(unknown);
}

bool has_lost_source(const left_folder& left) {
  std::string text;
  if (!read_record(left.folder, segment_source_name, text)) { return errno == ENOENT; }
  const std::size_t path = std::min(text.find('\n'), text.size() - 1) + 1;
  if (text[path] != '/') { return false; }
  const std::string found = look_in_time(text.substr(path));
  if (found == missing) { return left.age > day_s; }
  return found != unknown && found != text;
}

// A tool that was killed between the renaming of its result and the removal of the folder.
bool has_result(const left_folder& left) {
  std::string text;
  if (!read_record(left.folder, segment_result_name, text)) { return false; }
  const std::string name = text.substr(text.find(' ') + 1);
  struct stat status = {};
  return name.find('/') == std::string::npos &&
         fstatat(left.directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         segment_result_text(name, status) == text;
}

bool is_abandoned(const left_folder& left, int keep_days) {
  return left.age > keep_days * day_s || is_private_segment_folder(left.name) || has_result(left) ||
         has_lost_source(left);
}

// On file systems without locks, only an old folder is sure to be unused.
unique_fd lock(const left_folder& left, int keep_days) {
  const bool is_old = left.age > std::max(1, keep_days) * day_s;
  return lock_segment_folder(left.directory, left.name, left.folder,
                             is_old ? without_locks::accepted : without_locks::refused);
}

void take(const left_folder& left, unique_fd held, folder_fate fate, left_part_sums& sums) {
  const unsigned long long bytes = bytes_in_segment_folder(left.folder);
  const bool removed = fate == folder_fate::removed;
  if (removed && !remove_segment_folder(left.directory, left.name, left.folder, std::move(held))) {
    return;
  }
  ++sums.count;
  sums.bytes += bytes;
}

// Calls `act` with the name and the descriptor of each folder of this user in the directory.
void for_each_folder(unique_fd opened,
                     const std::function<void(int directory, const std::string&, int)>& act) {
  const unique_dir directory(opened.valid() ? fdopendir(opened.get()) : nullptr);
  if (!directory) { return; }
  const int fd = opened.release();
  while (const dirent* entry = readdir(directory.get())) {
    const std::string name = entry->d_name;
    if (!begins_with(name, segment_folder_prefix)) { continue; }
    const unique_fd folder = open_segment_folder(fd, name);
    if (folder.valid()) { act(fd, name, folder.get()); }
  }
}

left_part_sums look_through(unique_fd opened, left_segments which, int keep_days,
                            folder_fate fate) {
  left_part_sums sums;
  for_each_folder(std::move(opened), [&](int directory, const std::string& name, int folder) {
    struct stat status = {};
    if (fstat(folder, &status) != 0) { return; }
    // The age is that before the lock, which changes a folder that lacks one.
    const left_folder left{directory, name, folder, age_of(status)};
    unique_fd held = lock(left, keep_days);
    if (!held.valid() || is_leased(folder)) { return; }
    if (which == left_segments::all || is_abandoned(left, keep_days)) {
      take(left, std::move(held), fate, sums);
    }
  });
  return sums;
}

}  // namespace

left_part_sums find_segments_of(const std::string& source, const std::string& directory) {
  const std::string expected = look_at(source);
  left_part_sums sums;
  for_each_folder(open_trusted(directory, O_RDONLY | O_DIRECTORY),
                  [&](int, const std::string&, int folder) {
                    std::string text;
                    if (!read_record(folder, segment_source_name, text) || text != expected) {
                      return;
                    }
                    sums.count += segments_in_folder(folder);
                    sums.bytes += bytes_in_segment_folder(folder);
                  });
  return sums;
}

left_part_sums find_left_segments(const std::string& directory, left_segments which,
                                  int keep_days) {
  return look_through(open_trusted(directory, O_RDONLY | O_DIRECTORY), which, keep_days,
                      folder_fate::kept);
}

left_part_sums remove_left_segments(const std::string& directory, left_segments which,
                                    int keep_days) {
  return look_through(open_trusted(directory, O_RDONLY | O_DIRECTORY), which, keep_days,
                      folder_fate::removed);
}

left_part_sums remove_left_segments(int directory, left_segments which, int keep_days) {
  return look_through(unique_fd(openat(directory, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)), which,
                      keep_days, folder_fate::removed);
}
