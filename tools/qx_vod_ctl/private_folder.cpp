#include "tools/qx_vod_ctl/private_folder.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <fcntl.h>
#include <unistd.h>

#include "platform/directories.h"
#include "platform/file_bytes.h"
#include "platform/unique_fd.h"

namespace {

bool fail(std::string& error) {
  error = std::strerror(errno);
  return false;
}

}  // namespace

private_folder::~private_folder() {
  std::error_code ignored;  // nothing is left to be done about it
  if (!path_.empty()) { std::filesystem::remove_all(path_, ignored); }
}

bool private_folder::create(std::string& error) {
  for (std::string pattern : {"/run/qx-vod-ctl-XXXXXX", "/tmp/qx-vod-ctl-XXXXXX"}) {
    if (mkdtemp(pattern.data()) == nullptr) { continue; }
    path_ = pattern;
    return true;
  }
  return fail(error);
}

bool private_folder::write(const std::string& name, std::string_view content,
                           std::string& error) const {
  const std::string file = path_ + "/" + name;
  const std::string folder = file.substr(0, file.rfind('/'));
  if (mkdir_p(folder.c_str(), 0700, -1) != 0) { return fail(error); }
  const unique_fd fd(open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  return (fd.valid() && write_all(fd.get(), content)) || fail(error);
}
