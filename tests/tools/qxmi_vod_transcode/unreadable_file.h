// A file that opens for nobody as long as this object exists, not even for root.
#pragma once

#include <csignal>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace qx_test {

// A lease on it: whoever opens it without waiting is turned away. The kernel takes the lease back
// 45 s later.
class unreadable_file {
public:
  explicit unreadable_file(const std::string& path) : fd_(open(path.c_str(), O_RDWR | O_CLOEXEC)) {
    std::signal(SIGIO, SIG_IGN);  // the request to give it up
    EXPECT_EQ(fcntl(fd_, F_SETLEASE, F_WRLCK), 0) << path;
  }
  ~unreadable_file() { close(fd_); }
  unreadable_file(const unreadable_file&) = delete;
  unreadable_file& operator=(const unreadable_file&) = delete;

private:
  int fd_;
};

}  // namespace qx_test
