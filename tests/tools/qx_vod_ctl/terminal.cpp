#include "tests/tools/qx_vod_ctl/terminal.h"

#include <csignal>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/wait_until.h"

using namespace qx_test;

// The slave is kept open here, so that the master can be read after the client's end.
ctl_terminal::ctl_terminal(const private_root& root, const std::string& arguments) {
  master_ = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
  grantpt(master_);
  unlockpt(master_);
  const std::string name = ptsname(master_);
  slave_ = open(name.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  resize(12, 80);
  const std::string command =
      "exec /usr/bin/qx_vod_ctl " + arguments + " <" + name + " >" + name + " 2>&1";
  pid_ = root.spawn({"/usr/bin/env", "TERM=xterm", "/bin/sh", "-c", command});
}

ctl_terminal::~ctl_terminal() {
  close(slave_);
  close(master_);
}

void ctl_terminal::type(const std::string& keys) const {
  EXPECT_EQ(write(master_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
}

void ctl_terminal::resize(unsigned short rows, unsigned short columns) const {
  const winsize size = {rows, columns, 0, 0};
  ioctl(master_, TIOCSWINSZ, &size);
}

void ctl_terminal::signal(int number) const {
  kill(pid_, number);
}

bool ctl_terminal::shows(const std::string& text) {
  return wait_until([&] {
    read_output();
    const auto at = output_.find(text, found_);
    if (at != std::string::npos) { found_ = at + text.size(); }
    return at != std::string::npos;
  });
}

int ctl_terminal::wait_for_end() {
  int status = -1;
  EXPECT_TRUE(wait_until([&] {
    read_output();
    return waitpid(pid_, &status, WNOHANG) == pid_;
  }));
  read_output();
  return status;
}

bool ctl_terminal::is_as_before() const {
  termios now{};
  return tcgetattr(slave_, &now) == 0 && (now.c_lflag & ICANON) != 0 && (now.c_lflag & ECHO) != 0;
}

void ctl_terminal::read_output() {
  char block[4096];
  ssize_t count = 0;
  while ((count = read(master_, block, sizeof block)) > 0) {
    output_.append(block, static_cast<std::size_t>(count));
  }
}
