#include "tools/media/tool_signals.h"

#include <csignal>
#include <initializer_list>

#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include "tools/job_log/job_log.h"

namespace {

int signal_fd = -1;
int asked_to_stop = 0;
bool asked_to_suspend = false;
int continued = 0;

sigset_t obeyed_signals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : {SIGTERM, SIGINT, SIGHUP, SIGUSR1, SIGUSR2}) {
    sigaddset(&set, number);
  }
  return set;
}

// A pipe that took one of the numbers 0 to 2 would be overwritten in the child.
bool fill_standard_descriptors() {
  int fd = 0;
  do {
    fd = open("/dev/null", O_RDWR | O_CLOEXEC);
  } while (fd >= 0 && fd <= STDERR_FILENO);
  if (fd < 0) { return false; }
  close(fd);
  return true;
}

// The service holds these two back until the kernel names them among the tool's handlers. Blocked
// as they are, the handler never runs.
void show_handlers() {
  for (const int number : {SIGUSR1, SIGUSR2}) {
    signal(number, [](int) {});
  }
}

void take(int number) {
  if (number == SIGUSR1) {
    asked_to_suspend = true;
  } else if (number == SIGUSR2) {
    asked_to_suspend = false;
    ++continued;
  } else if (asked_to_stop == 0) {
    asked_to_stop = number;
  }
}

}  // namespace

bool catch_tool_signals() {
  if (!fill_standard_descriptors()) { return false; }
  signal(SIGPIPE, SIG_IGN);
  // If the tool was started with it ignored, the exit status of children would be lost.
  signal(SIGCHLD, SIG_DFL);
  const sigset_t set = obeyed_signals();
  if (sigprocmask(SIG_BLOCK, &set, nullptr) != 0) { return false; }
  show_handlers();
  signal_fd = signalfd(signal_fd, &set, SFD_CLOEXEC | SFD_NONBLOCK);
  return signal_fd >= 0;
}

int tool_signal_fd() {
  return signal_fd;
}

void read_tool_signals() {
  signalfd_siginfo arrived = {};
  while (signal_fd >= 0 && read(signal_fd, &arrived, sizeof arrived) == sizeof arrived) {
    take(static_cast<int>(arrived.ssi_signo));
  }
}

void wait_for_tool_signals(std::chrono::milliseconds longest) {
  pollfd arriving = {signal_fd, POLLIN, 0};
  poll(&arriving, 1, static_cast<int>(longest.count()));
  read_tool_signals();
}

int stop_signal() {
  return asked_to_stop;
}

bool suspend_wanted() {
  return asked_to_suspend;
}

int times_continued() {
  return continued;
}

int end_of_tool(int status) {
  read_tool_signals();
  close_job_log(status, asked_to_stop);
  if (asked_to_stop == 0) { return status; }
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, asked_to_stop);
  signal(asked_to_stop, SIG_DFL);
  sigprocmask(SIG_UNBLOCK, &set, nullptr);
  raise(asked_to_stop);
  return status;
}
