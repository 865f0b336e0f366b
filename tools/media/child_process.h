// One external program, run by absolute path with an argument vector and never through a shell.
//
// The child has standard input from /dev/null, its output and errors in two pipes, an environment
// of PATH and LC_ALL=C, no other descriptor and no blocked signal. It stays in the tool's process
// group, so that signals to the group reach it too, but ignores SIGUSR1 and SIGUSR2, on which the
// tool itself acts. It dies with the tool, however the tool ends.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h>

#include "platform/unique_fd.h"
#include "tools/media/sandbox.h"

// How much of the machine a child may take; the numbers are those of the transcoder's -d option.
struct child_priority {
  // 0 keeps the inherited priority; 1 to 6 is batch scheduling with the lowest best-effort disk
  // priority; 7 is idle scheduling and idle disk priority.
  int level = 0;
};

class child_process {
public:
  child_process() = default;
  // Kills and reaps a child that still runs.
  ~child_process();
  child_process(const child_process&) = delete;
  child_process& operator=(const child_process&) = delete;

  // Starts argv[0] with `argv`; both must not be empty. With `confined_to` the program runs in that
  // sandbox, with its descriptors open; without, it has no descriptor but 0 to 2. False with the
  // cause in `error` if it cannot be started; a program that cannot be executed is reported here
  // and not by its exit status. Once per object.
  bool start(const std::vector<std::string>& argv, child_priority priority,
             const sandbox* confined_to, std::string& error);

  // The read ends of the child's output and errors, non-blocking; and a descriptor that becomes
  // readable when it has ended, -1 where the kernel offers none. Owned by this object.
  int output_fd() const { return output_.get(); }
  int errors_fd() const { return errors_.get(); }
  int end_fd() const { return end_.get(); }

  // Stops or continues the child; repeated calls have no effect.
  void set_stopped(bool stopped);

  // Ends the child at once, stopped or not. It is still to be reaped.
  void kill();

  // Collects the child's exit status if it has ended; true once it has, with wait_status() valid. A
  // status that was collected elsewhere in the process counts as a failure.
  bool reap();
  int wait_status() const { return wait_status_; }

  // Processor time of all its threads so far, and in total once it is reaped; zero when it cannot
  // be read.
  std::chrono::nanoseconds cpu_time() const;

  // For how long its present threads, all together, were ready to run while others had the
  // processors. Zero when it cannot be read.
  std::chrono::nanoseconds processor_wait() const;

private:
  bool running() const { return pid_ > 0 && !reaped_; }

  pid_t pid_ = -1;
  bool reaped_ = false;
  bool stopped_ = false;
  int wait_status_ = 0;
  std::chrono::nanoseconds total_cpu_time_{0};
  unique_fd output_;
  unique_fd errors_;
  unique_fd end_;
};
