// A result that appears under its name only when it is whole.
#include "tools/common/output_file.h"

#include "platform/unique_fd.h"
#include "tools/common/tool_signals.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <random>

namespace {

constexpr int name_attempts = 100;

bool fail(std::string& error) {
  error = std::strerror(errno);
  return false;
}

// A name of fixed length, so that the longest allowed name of a result still has one.
std::string temporary_name(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string directory = slash == std::string::npos ? "./" : path.substr(0, slash + 1);
  char name[40];
  std::snprintf(name, sizeof name, ".qx-part-%08x", std::random_device{}());
  return directory + name;
}

bool is_directory(const std::string& path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// The source may be removed next, and must not be gone on a disk that does not know the name yet.
// Where a file system cannot do it, nothing better is to be had.
void sync_directory(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const unique_fd fd(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (fd.valid()) static_cast<void>(fsync(fd.get()) == 0);
}

}  // namespace

output_file::~output_file() {
  if (!temporary_.empty()) unlink(temporary_.c_str());
}

bool output_file::create(const std::string& path, std::string& error) {
  if (path.empty() || path.back() == '/' || is_directory(path)) {
    errno = EISDIR;
    return fail(error);
  }
  for (int attempt = 0; attempt < name_attempts; ++attempt) {
    const std::string name = temporary_name(path);
    const unique_fd fd(open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (fd.valid()) {
      path_ = path;
      temporary_ = name;
      return true;
    }
    if (errno != EEXIST) break;
  }
  return fail(error);
}

bool output_file::commit(std::string& error) {
  const unique_fd fd(open(temporary_.c_str(), O_RDONLY | O_CLOEXEC));
  if (!fd.valid() || fsync(fd.get()) != 0) return fail(error);
  read_tool_signals();
  if (stop_signal() != 0) {
    error = "stopped";
    return false;
  }
  if (rename(temporary_.c_str(), path_.c_str()) != 0) return fail(error);
  temporary_.clear();
  sync_directory(path_);
  return true;
}
