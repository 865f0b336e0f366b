#include "platform/replacement_file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include <unistd.h>

#include "platform/file_bytes.h"

replacement_file replacement_file::with_random_name(std::string prefix) {
  std::string name = std::move(prefix) + "XXXXXX";
  unique_fd file(mkostemp(name.data(), O_CLOEXEC));
  return replacement_file(std::move(file), std::move(name));
}

replacement_file::replacement_file(unique_fd file, std::string name, int directory_fd)
    : file_(std::move(file)), directory_fd_(directory_fd) {
  if (file_.valid()) { name_ = std::move(name); }
}

replacement_file::~replacement_file() {
  remove();
}

replacement_file::replacement_file(replacement_file&& other) noexcept
    : file_(std::move(other.file_)), name_(std::exchange(other.name_, std::string())),
      directory_fd_(other.directory_fd_) {}

replacement_file& replacement_file::operator=(replacement_file&& other) noexcept {
  if (this == &other) { return *this; }
  remove();
  file_ = std::move(other.file_);
  name_ = std::exchange(other.name_, std::string());
  directory_fd_ = other.directory_fd_;
  return *this;
}

void replacement_file::remove() {
  if (name_.empty()) { return; }
  const int error = errno;
  unlinkat(directory_fd_, name_.c_str(), 0);
  name_.clear();
  errno = error;
}

bool replacement_file::write(std::string_view bytes) {
  return write_all(file_.get(), bytes);
}

bool replacement_file::sync() {
  return fsync(file_.get()) == 0;
}

bool replacement_file::close() {
  return ::close(file_.release()) == 0;
}

bool replacement_file::rename_to(const std::string& target) {
  if (renameat(directory_fd_, name_.c_str(), directory_fd_, target.c_str()) != 0) { return false; }
  name_.clear();
  return true;
}

// Not every file system supports RENAME_NOREPLACE; most of those that do not have hard links, which
// never replace anything.
bool replacement_file::rename_to_new(const std::string& target) {
  if (renameat2(directory_fd_, name_.c_str(), directory_fd_, target.c_str(), RENAME_NOREPLACE) ==
      0) {
    name_.clear();
    return true;
  }
  if (errno != EINVAL ||
      linkat(directory_fd_, name_.c_str(), directory_fd_, target.c_str(), 0) != 0) {
    return false;
  }
  remove();
  return true;
}
