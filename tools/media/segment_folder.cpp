#include "tools/media/segment_folder.h"

#include <cerrno>
#include <filesystem>
#include <functional>
#include <random>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "platform/text.h"
#include "platform/unique_dir.h"
#include "tools/media/left_parts.h"

namespace {

constexpr std::size_t key_digits = 16;

// With a descriptor of its own, because a stream shares its place with its descriptor.
void for_each_entry(int folder, const std::function<void(const std::string&)>& act) {
  const int fd = openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const unique_dir entries(fd < 0 ? nullptr : fdopendir(fd));
  if (!entries && fd >= 0) { close(fd); }
  while (const dirent* entry = entries ? readdir(entries.get()) : nullptr) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..") { act(name); }
  }
}

unique_fd open_subfolder(int folder, const std::string& name) {
  return unique_fd(openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

void remove_files(int folder, const std::string& except) {
  for_each_entry(folder, [&](const std::string& name) {
    if (name == except || unlinkat(folder, name.c_str(), 0) == 0) { return; }
    remove_run_folder(folder, name);
  });
}

unique_fd refused(int cause) {
  errno = cause;
  return unique_fd();
}

// What opening a folder, a link or a socket to write gives.
bool is_no_file(int error) {
  return error == EISDIR || error == ELOOP || error == ENXIO;
}

unique_fd open_lock(int folder) {
  return unique_fd(openat(folder, segment_lock_name, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC,
                          S_IRUSR | S_IWUSR));
}

void remove_unless_file(int folder, const std::string& name) {
  struct stat status = {};
  const bool is_file =
      fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 || S_ISREG(status.st_mode);
  if (!is_file && unlinkat(folder, name.c_str(), 0) != 0) { remove_run_folder(folder, name); }
}

// One process at a time: then the next one finds the lock that others have made since.
void remove_false_lock(int folder) {
  if (flock(folder, LOCK_EX | LOCK_NB) != 0) { return; }
  remove_unless_file(folder, segment_lock_name);
  flock(folder, LOCK_UN);
}

}  // namespace

std::string segment_source_text(const std::string& path, const struct stat& status) {
  std::error_code error;
  const std::string whole = std::filesystem::absolute(path, error).string();
  return std::to_string(status.st_size) + " " + std::to_string(status.st_mtim.tv_sec) + "." +
         std::to_string(status.st_mtim.tv_nsec) + "\n" + (error ? path : whole);
}

std::string segment_result_text(const std::string& name, const struct stat& status) {
  return std::to_string(status.st_ino) + " " + name;
}

std::string private_segment_folder(const std::string& name) {
  std::random_device random;
  return name + "-" + std::to_string(random());
}

bool is_private_segment_folder(const std::string& name) {
  return name.find('-', std::string(segment_folder_prefix).size() + key_digits) !=
         std::string::npos;
}

unique_fd open_segment_folder(int directory, const std::string& name) {
  unique_fd folder = open_subfolder(directory, name);
  struct stat status = {};
  if (!folder.valid() || fstat(folder.get(), &status) != 0) { return refused(errno); }
  const bool own = status.st_uid == geteuid() && (status.st_mode & (S_IRWXG | S_IRWXO)) == 0;
  return own ? std::move(folder) : refused(EACCES);
}

unique_fd lock_segment_folder(int directory, const std::string& name, int folder,
                              without_locks missing) {
  unique_fd file = open_lock(folder);
  if (!file.valid() && is_no_file(errno)) {
    remove_false_lock(folder);
    file = open_lock(folder);
  }
  // A removed folder takes no new file.
  if (!file.valid()) { return refused(errno == ENOENT ? EWOULDBLOCK : errno); }
  const bool locked = flock(file.get(), LOCK_EX | LOCK_NB) == 0;
  const bool may_be_missing = missing == without_locks::accepted && errno != EWOULDBLOCK;
  if (!locked && !may_be_missing) { return refused(errno); }
  // A process that removes the folder removes the lock first.
  const bool is_whole =
      has_name(file.get(), folder, segment_lock_name) && has_name(folder, directory, name);
  return is_whole ? std::move(file) : refused(EWOULDBLOCK);
}

void remove_run_folder(int folder, const std::string& name) {
  const unique_fd run = open_subfolder(folder, name);
  if (!run.valid()) { return; }
  for_each_entry(run.get(), [&](const std::string& entry) {
    if (unlinkat(run.get(), entry.c_str(), 0) != 0) {
      unlinkat(run.get(), entry.c_str(), AT_REMOVEDIR);
    }
  });
  unlinkat(folder, name.c_str(), AT_REMOVEDIR);
}

void remove_run_folders(int folder) {
  for_each_entry(folder, [&](const std::string& name) {
    if (begins_with(name, segment_run_prefix)) { remove_run_folder(folder, name); }
  });
}

void remove_false_files(int folder) {
  for_each_entry(folder, [&](const std::string& name) {
    const bool may_be_folder = begins_with(name, segment_run_prefix);
    if (!may_be_folder && name != segment_lock_name) { remove_unless_file(folder, name); }
  });
}

void empty_segment_folder(int folder) {
  remove_files(folder, segment_lock_name);
}

// Whoever gets the lock meanwhile finds that it has lost its name, or makes a new one: then the
// folder is not empty, and stays.
bool remove_segment_folder(int directory, const std::string& name, int folder, unique_fd lock) {
  const auto removed = [&] {
    return has_name(folder, directory, name) &&
           unlinkat(directory, name.c_str(), AT_REMOVEDIR) == 0;
  };
  empty_segment_folder(folder);
  unlinkat(folder, segment_lock_name, 0);
  if (removed()) { return true; }
  // Network file systems keep a removed file under another name until nobody has it open.
  lock.reset();
  return removed();
}

unsigned long long bytes_in_segment_folder(int folder) {
  unsigned long long bytes = 0;
  for_each_entry(folder, [&](const std::string& name) {
    struct stat status = {};
    const bool counts =
        fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(status.st_mode);
    if (counts) { bytes += static_cast<unsigned long long>(status.st_size); }
  });
  return bytes;
}

std::size_t segments_in_folder(int folder) {
  std::size_t count = 0;
  for_each_entry(folder, [&](const std::string& name) {
    if (begins_with(name, "v") && ends_with(name, ".mp4")) { ++count; }
  });
  return count;
}
