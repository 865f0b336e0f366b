#include "tools/qx_vod_ctl/bug_report/new_file.h"

#include <cerrno>
#include <cstring>

#include <sys/stat.h>

#include "platform/replacement_file.h"

bool is_taken(const std::string& path) {
  struct stat status = {};
  return lstat(path.c_str(), &status) == 0;
}

bool write_new_file(const std::string& path, std::string_view content, std::string& error) {
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
  replacement_file file = replacement_file::with_random_name(folder + ".qx-part-");
  const bool is_written =
      file.valid() && file.write(content) && file.sync() && file.rename_to_new(path);
  if (!is_written) { error = std::strerror(errno); }
  return is_written;
}
