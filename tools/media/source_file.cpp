#include "tools/media/source_file.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>

#include "platform/trusted_path.h"

namespace {

bool refuse(std::string& error, const char* cause) {
  error = cause;
  return false;
}

const char* kind_refused(mode_t mode) {
  if (S_ISDIR(mode)) { return "is a directory"; }
  return S_ISREG(mode) ? nullptr : "is not a regular file";
}

bool same_file(const struct stat& a, const struct stat& b) {
  return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

bool same_content(const struct stat& a, const struct stat& b) {
  return a.st_size == b.st_size && a.st_mtim.tv_sec == b.st_mtim.tv_sec &&
         a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

}  // namespace

bool source_file::open(const std::string& path, std::string& error) {
  struct stat before = {};
  if (stat(path.c_str(), &before) != 0) { return refuse(error, std::strerror(errno)); }
  if (const char* cause = kind_refused(before.st_mode)) { return refuse(error, cause); }

  // The file may have been replaced since, hence O_NONBLOCK and the second check.
  unique_fd fd = open_trusted(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
  if (!fd.valid() || fstat(fd.get(), &status_) != 0) { return refuse(error, std::strerror(errno)); }
  if (const char* cause = kind_refused(status_.st_mode)) { return refuse(error, cause); }
  if (status_.st_size == 0) { return refuse(error, "is empty"); }
  path_ = path;
  fd_ = std::move(fd);
  return true;
}

bool source_file::is_same_as(const std::string& path) const {
  struct stat other = {};
  return stat(path.c_str(), &other) == 0 && same_file(other, status_);
}

bool source_file::unchanged() const {
  struct stat now = {};
  return stat(path_.c_str(), &now) == 0 && same_file(now, status_) && same_content(now, status_);
}
