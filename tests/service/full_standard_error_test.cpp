// The service while nobody reads its standard error and the pipe is full.
#include <csignal>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/test_machine.h"
#include "tests/support/wait_until.h"

using namespace qx_test;

namespace {

class full_standard_error : public ::testing::Test {
protected:
  full_standard_error() {
    const std::string path = machine_.root.scratch("full.fifo");
    EXPECT_EQ(mkfifo(path.c_str(), 0666), 0);
    fd_ = open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    const std::string block(4096, '.');
    while (write(fd_, block.data(), block.size()) > 0) {}
    machine_.root.write_source("/mnt/media/clip.mpg", "video/mpeg");
    spawn_options options;
    options.stderr_path = path;
    pid_ = machine_.root.spawn({machine_.root.scratch("qx_vod_service")}, options);
    EXPECT_TRUE(wait_until([&] { return machine_.client.request("test").status() == "OK"; }));
  }
  ~full_standard_error() override {
    close(fd_);
    if (pid_ > 0) { kill(pid_, SIGKILL); }
  }
  int stop() {
    kill(pid_, SIGTERM);
    int status = -1;
    EXPECT_TRUE(wait_until([&] { return waitpid(pid_, &status, WNOHANG) == pid_; }));
    pid_ = -1;
    return status;
  }
  // Empties the pipe.
  std::string drain() const {
    std::string text;
    char block[4096];
    for (ssize_t got = 0; (got = read(fd_, block, sizeof block)) > 0;) {
      text.append(block, static_cast<std::size_t>(got));
    }
    return text;
  }

  test_machine machine_;
  int fd_ = -1;
  pid_t pid_ = -1;
};

}  // namespace

TEST_F(full_standard_error, jobs_are_done_and_the_service_stops) {
  const auto id = machine_.client.add_ready("/mnt/media/clip.mpg");
  machine_.client.wait_for_transcode_state(id, "done");
  EXPECT_EQ(stop(), 0);
}

TEST_F(full_standard_error, missing_lines_are_counted_once_there_is_room) {
  machine_.client.request("test");
  std::string text = drain();  // the count may appear while it is being emptied
  EXPECT_TRUE(wait_until([&] {
    text += drain();
    return text.find("Standard error was full, lines dropped: ") != std::string::npos;
  })) << text;
  machine_.client.request("test");
  EXPECT_TRUE(wait_until([&] {
    text += drain();
    return text.find("\n* new connection\n* disconnected client\n") != std::string::npos;
  })) << text;
  EXPECT_EQ(stop(), 0);
}
