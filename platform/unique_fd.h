// A file descriptor that is closed when its owner is destroyed.
#pragma once

#include <utility>

#include <unistd.h>

class unique_fd {
public:
  unique_fd() = default;
  explicit unique_fd(int fd) : fd_(fd) {}
  ~unique_fd() { reset(); }
  unique_fd(unique_fd&& other) noexcept : fd_(other.release()) {}
  unique_fd& operator=(unique_fd&& other) noexcept {
    reset(other.release());
    return *this;
  }
  unique_fd(const unique_fd&) = delete;
  unique_fd& operator=(const unique_fd&) = delete;

  int get() const { return fd_; }
  bool valid() const { return fd_ >= 0; }

  // Passes the descriptor to the caller, who must close it.
  int release() { return std::exchange(fd_, -1); }

  // Closes the current descriptor, if any, and takes ownership of `fd`, which may be -1.
  void reset(int fd = -1) {
    if (fd_ >= 0) { ::close(fd_); }
    fd_ = fd;
  }

private:
  int fd_ = -1;
};
