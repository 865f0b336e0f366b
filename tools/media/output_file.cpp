#include "tools/media/output_file.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <random>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/directories.h"
#include "platform/trusted_path.h"
#include "tools/media/left_parts.h"
#include "tools/media/tool_signals.h"

namespace {

using clock_type = std::chrono::steady_clock;

constexpr std::chrono::milliseconds attempt_interval{20};

bool fail(std::string& error) {
  error = std::strerror(errno);
  return false;
}

// The same for every tool that makes the same result, so that they meet, and of fixed length, so
// that the longest allowed name of a result still has one (FNV-1a, 64 bits).
std::string temporary_name(const std::string& result) {
  std::uint64_t sum = 0xcbf29ce484222325U;
  for (const char character : result) {
    sum = (sum ^ static_cast<unsigned char>(character)) * 0x100000001b3U;
  }
  char name[40];
  std::snprintf(name, sizeof name, "%s%016" PRIx64, left_part_prefix, sum);
  return name;
}

// A name that others do not know beforehand.
std::string unforeseeable_name(const std::string& result) {
  std::random_device random;
  return temporary_name(result) + "." + std::to_string(random());
}

// Whether a file that neither a tool of this account nor one of root created has the name of a
// part. In a directory that is open to all, other accounts could block a result that way.
bool is_strangers(int directory, const std::string& name) {
  struct stat status = {};
  return fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         (!S_ISREG(status.st_mode) || (status.st_uid != 0 && status.st_uid != geteuid()));
}

unique_fd create_part(int directory, const std::string& name) {
  return unique_fd(
      openat(directory, name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
}

mode_t mode_that_umask_leaves() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

}  // namespace

// False with errno; EEXIST where another tool has it, or looks just now whether it is left over.
bool output_file::take(const std::string& name) {
  remove_left_parts(directory_.get());
  unique_fd fd = create_part(directory_.get(), name);
  if (!fd.valid()) { return false; }
  struct stat created = {};
  if (fstat(fd.get(), &created) != 0) { return false; }
  if (!take_part(fd.get(), directory_.get(), name)) {
    errno = EEXIST;
    return false;
  }
  group_ = created.st_gid;
  file_ = replacement_file(std::move(fd), name, directory_.get());
  return true;
}

bool output_file::create(const std::string& path, std::string& error,
                         std::chrono::milliseconds patience) {
  if (path.empty() || path.back() == '/' || is_directory(path)) {
    errno = EISDIR;
    return fail(error);
  }
  directory_ = open_directory_of(path, name_);
  if (!directory_.valid()) { return fail(error); }
  folder_ = path.substr(0, path.size() - name_.size());
  if (folder_.empty()) { folder_ = "./"; }
  std::string name = temporary_name(name_);
  const clock_type::time_point deadline = clock_type::now() + patience;
  while (!take(name)) {
    if (errno != EEXIST) { return fail(error); }
    if (stop_signal() != 0 || clock_type::now() >= deadline) {
      error = stop_signal() != 0 ? "stopped" : "is being written by another tool";
      return false;
    }
    if (is_strangers(directory_.get(), name)) {
      name = unforeseeable_name(name_);
      continue;
    }
    wait_for_tool_signals(attempt_interval);
  }
  return true;
}

bool output_file::commit(std::string& error) {
  if (fchown(file_.fd(), static_cast<uid_t>(-1), group_) != 0 ||
      fchmod(file_.fd(), mode_that_umask_leaves()) != 0) {
    return fail(error);
  }
  if (!file_.sync()) { return fail(error); }
  read_tool_signals();
  if (stop_signal() != 0) {
    error = "stopped";
    return false;
  }
  if (!has_name(file_.fd(), directory_.get(), file_.name())) {
    error = "was exchanged for another file";
    return false;
  }
  if (!file_.rename_to(name_)) { return fail(error); }
  if (!has_name(file_.fd(), directory_.get(), name_)) {
    error = "was exchanged for another file";
    return false;
  }
  // The source may be removed next, and must not be lost before the new name has reached the disk.
  sync_directory(directory_.get());
  return true;
}
