// Writes a file under a hidden name and then gives it its own.
#include "tools/qx_vod_ctl/bug_report/new_file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/unique_fd.h"
#include "tools/qx_vod_ctl/text_file.h"

namespace {

// Not every file system can refuse to replace; those that cannot mostly have links, which never do.
bool give_name(const std::string& temporary, const std::string& path) {
  if (renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0) {
    return true;
  }
  if (errno != EINVAL || link(temporary.c_str(), path.c_str()) != 0) { return false; }
  unlink(temporary.c_str());
  return true;
}

}  // namespace

bool is_taken(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0;
}

bool write_new_file(const std::string& path, std::string_view content, std::string& error) {
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
  std::string temporary = folder + ".qx-part-XXXXXX";
  const unique_fd fd(mkostemp(temporary.data(), O_CLOEXEC));
  const bool done = fd.valid() && write_text(fd.get(), content) && fsync(fd.get()) == 0 &&
                    give_name(temporary, path);
  if (done) { return true; }
  error = std::strerror(errno);
  if (fd.valid()) { unlink(temporary.c_str()); }
  return false;
}
