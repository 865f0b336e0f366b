// Steps of items in the test's own process: the test can replace the kernel's answers, and every
// write of a job's status is recorded.
#pragma once

#include <csignal>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include <sys/types.h>

#include "tests/support/files.h"
#include "tests/support/item_bench.h"
#include "tests/support/private_root.h"
#include "tests/support/status_writes.h"

namespace qx_test {

// If set, these replace the kernel's or a library's functions.
struct kernel_answers {
  std::function<pid_t()> fork;
  std::function<pid_t(pid_t, int*)> waitpid;
  std::function<int(pid_t, int)> kill;
  std::function<int(int*, int)> pipe2;
  std::function<int(int, const char*)> unlinkat;
  long file_system = 0;  // the type of each one; its own type if 0
  std::function<int()> rand;
  std::function<unsigned(const char*, unsigned)> forbidden_area;
  std::function<unsigned(int, unsigned)> forbidden_area_fd;
  std::size_t cpus = 0;  // the machine's own number if 0
  bool job_directory_is_known = true;
  // Waits for a descriptor with a time limit have none: what is waited for comes, however crowded
  // the machine.
  bool waits_forever = false;
};
extern kernel_answers kernel;

// Wait statuses.
constexpr int exited(int code) {
  return code << 8;
}
constexpr int killed_by(int signal_number) {
  return signal_number;
}

// While it exists nothing is forked: the service sees a child that does what the test says.
class fake_child {
public:
  static constexpr pid_t pid = 1000000000;  // higher than any that the kernel assigns

  fake_child();
  ~fake_child();
  fake_child(const fake_child&) = delete;
  fake_child& operator=(const fake_child&) = delete;

  // Makes it the item's running child, started in the item's current state.
  static void run_for(QueueItem& item);
  // Writes to its output, if the service has opened a pipe for it.
  void print(std::string_view bytes) const;
  void close_stdout();
  // From now on the service finds it ended.
  void end(int wait_status);

  int started = 0;
  std::vector<int> signals;          // to its group, in order
  std::vector<int> stray_signals;    // to any other process
  std::function<void()> at_waitpid;  // called before each check whether it has ended

private:
  bool has_ended_ = false;
  int wait_status_ = 0;
  int stdout_fd_ = -1;
};

// Captures standard error while it exists.
class stderr_capture {
public:
  stderr_capture();
  ~stderr_capture();
  stderr_capture(const stderr_capture&) = delete;
  stderr_capture& operator=(const stderr_capture&) = delete;

  std::string text() const;

private:
  int saved_ = -1;
  int file_ = -1;
};

class exec_bench : public item_bench {
protected:
  exec_bench();

  // A turn of the item's child; nobody judges its end. True when bytes came, the output ended or
  // the child did.
  static bool turn(QueueItem& item);

  QueueItem& add_ready_item(ready_states state);
  // An item with everything the scan requires: profile, listing, input, output.
  QueueItem& add_candidate();
};

// The same in a private root, for steps that look at media and outputs. Write sources, settings and
// the like before calling inside().
class private_exec_bench : public exec_bench {
protected:
  // Runs the action in a process in the private root; the test fails if an expectation in it does.
  void inside(const std::function<void()>& action) const;
  // An item with the source /mnt/media/clip.mpg. Call it inside.
  QueueItem& add_source_item(transcode_states state);

  private_root root_;
};

}  // namespace qx_test
