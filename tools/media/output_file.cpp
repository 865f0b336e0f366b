#include "tools/media/output_file.h"

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include "platform/directories.h"
#include "tools/media/left_parts.h"
#include "tools/media/tool_signals.h"

namespace {

using clock_type = std::chrono::steady_clock;

constexpr int attempt_interval_ms = 20;

bool fail(std::string& error) {
  error = std::strerror(errno);
  return false;
}

std::string directory_of(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "./" : path.substr(0, slash + 1);
}

// The same for every tool that makes the same result, so that they meet, and of fixed length, so
// that the longest allowed name of a result still has one (FNV-1a, 64 bits).
std::string temporary_name(const std::string& path) {
  std::uint64_t sum = 0xcbf29ce484222325U;
  for (const char character : path.substr(path.rfind('/') + 1)) {
    sum = (sum ^ static_cast<unsigned char>(character)) * 0x100000001b3U;
  }
  char name[40];
  std::snprintf(name, sizeof name, "%s%016" PRIx64, left_part_prefix, sum);
  return directory_of(path) + name;
}

mode_t mode_that_umask_leaves() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

// The source may be removed next, and must not be lost before the new name has reached the disk. If
// the file system does not support it, nothing better is possible.
void sync_directory(const std::string& path) {
  const unique_fd fd(open(directory_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd.valid()) { static_cast<void>(fsync(fd.get()) == 0); }
}

}  // namespace

// False with errno; EEXIST where another tool has it, or looks just now whether it is left over.
bool output_file::take(const std::string& path, const std::string& name) {
  remove_left_parts(directory_of(path));
  unique_fd fd(open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!fd.valid()) { return false; }
  if (!take_part(fd.get(), name)) {
    errno = EEXIST;
    return false;
  }
  struct stat created = {};
  if (fstat(fd.get(), &created) != 0) { return false; }
  owner_ = created.st_uid;
  group_ = created.st_gid;
  path_ = path;
  file_ = replacement_file(std::move(fd), name);
  return true;
}

bool output_file::create(const std::string& path, std::string& error,
                         std::chrono::milliseconds patience) {
  if (path.empty() || path.back() == '/' || is_directory(path)) {
    errno = EISDIR;
    return fail(error);
  }
  const std::string name = temporary_name(path);
  const clock_type::time_point deadline = clock_type::now() + patience;
  while (!take(path, name)) {
    if (errno != EEXIST) { return fail(error); }
    if (stop_signal() != 0 || clock_type::now() >= deadline) {
      error = stop_signal() != 0 ? "stopped" : "is being written by another tool";
      return false;
    }
    pollfd signals = {tool_signal_fd(), POLLIN, 0};
    poll(&signals, 1, attempt_interval_ms);
    read_tool_signals();
  }
  return true;
}

bool output_file::commit(std::string& error) {
  if (fchown(file_.fd(), owner_, group_) != 0 ||
      fchmod(file_.fd(), mode_that_umask_leaves()) != 0) {
    return fail(error);
  }
  if (!file_.sync()) { return fail(error); }
  read_tool_signals();
  if (stop_signal() != 0) {
    error = "stopped";
    return false;
  }
  if (!file_.rename_to(path_)) { return fail(error); }
  sync_directory(path_);
  return true;
}
