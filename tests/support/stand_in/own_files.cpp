#include "tests/support/stand_in/own_files.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "platform/file_bytes.h"

namespace qx_test {

void fail(const std::string& what) {
  std::fprintf(stderr, "stand-in tool: %s: %s\n", what.c_str(), std::strerror(errno));
  _exit(120);
}

void write_whole(const std::string& path, std::string_view content) {
  const std::string temporary = path + ".part";
  const int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0 || !write_all(fd, content)) { fail(temporary); }
  close(fd);
  if (rename(temporary.c_str(), path.c_str()) != 0) { fail(path); }
}

std::string read_whole(const std::string& path) {
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) { return ""; }
  std::string content = read_to_end(fd);
  close(fd);
  return content;
}

std::string read_to_end(int fd) {
  std::string content;
  static_cast<void>(read_all(fd, content.max_size(), content));  // as far as it can be read
  return content;
}

bool file_exists(const std::string& path) {
  return access(path.c_str(), F_OK) == 0;
}

}  // namespace qx_test
