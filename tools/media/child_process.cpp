#include "tools/media/child_process.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <utility>

#include <fcntl.h>
#include <linux/ioprio.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tools/media/descriptors.h"

namespace {

constexpr int lowest_best_effort = 7;

// The wait status of a child whose exit status is lost: exit status 255.
constexpr int lost_end = 255 << 8;

struct pipe_pair {
  unique_fd read_end;
  unique_fd write_end;

  bool open() {
    int ends[2] = {-1, -1};
    if (pipe2(ends, O_CLOEXEC) != 0) { return false; }
    read_end.reset(ends[0]);
    write_end.reset(ends[1]);
    return true;
  }
};

struct child_plan {
  std::vector<char*> argv;
  child_priority priority;
  const sandbox* confined_to;  // null for a program that is not confined
  pid_t parent;
  int output;
  int errors;
  int failure;  // takes errno when the program cannot be executed
};

void lower_priority(int level) {
  if (level <= 0) { return; }
  const bool idle = level >= 7;
  const sched_param none = {};
  sched_setscheduler(0, idle ? SCHED_IDLE : SCHED_BATCH, &none);
  const int disk = idle ? IOPRIO_PRIO_VALUE(IOPRIO_CLASS_IDLE, 0)
                        : IOPRIO_PRIO_VALUE(IOPRIO_CLASS_BE, lowest_best_effort);
  syscall(SYS_ioprio_set, IOPRIO_WHO_PROCESS, 0, disk);
}

void set_signals() {
  for (int number = 1; number < NSIG; ++number) {
    signal(number, SIG_DFL);
  }
  signal(SIGUSR1, SIG_IGN);
  signal(SIGUSR2, SIG_IGN);
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
}

bool keep_over_exec(const std::vector<int>& kept) {
  return std::all_of(kept.begin(), kept.end(), [](int fd) { return fcntl(fd, F_SETFD, 0) == 0; });
}

// Moves the pipes to 0, 1 and 2; their numbers are all above that. The files of the sandbox keep
// their numbers. Of the rest only the failure pipe stays, which closes on exec.
bool set_descriptors(const child_plan& plan) {
  const int null_fd = open("/dev/null", O_RDONLY | O_CLOEXEC);
  if (null_fd < 0 || dup2(null_fd, STDIN_FILENO) < 0) { return false; }
  if (dup2(plan.output, STDOUT_FILENO) < 0 || dup2(plan.errors, STDERR_FILENO) < 0) {
    return false;
  }
  std::vector<int> kept;
  if (plan.confined_to != nullptr) { kept = plan.confined_to->descriptors(); }
  if (!keep_over_exec(kept)) { return false; }
  kept.push_back(plan.failure);
  // The tool opens all its own descriptors close-on-exec; this closes the inherited ones.
  close_all_but(std::move(kept));
  return true;
}

// The one place where a child is made ready between fork and exec; whatever else confines it
// belongs here. Returns only on failure, with errno set.
void prepare_and_execute(child_plan& plan) {
  static char path[] = "PATH=/usr/bin:/bin";
  static char locale[] = "LC_ALL=C";
  static char* environment[] = {path, locale, nullptr};

  set_signals();
  lower_priority(plan.priority.level);
  if (!set_descriptors(plan)) { return; }
  if (plan.confined_to != nullptr && !enter_sandbox(*plan.confined_to, plan.argv[0])) { return; }
  // Last, since a change of account would undo it.
  if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0) { return; }
  if (getppid() != plan.parent) {
    _exit(1);  // the tool ended before the line above
  }
  execve(plan.argv[0], plan.argv.data(), environment);
}

[[noreturn]] void run_child(child_plan& plan) {
  prepare_and_execute(plan);
  const int cause = errno;
  const ssize_t told = write(plan.failure, &cause, sizeof cause);
  _exit(told == sizeof cause ? 127 : 126);
}

// The error that prevented execution; 0 if the pipe closed, as it does on a successful exec.
int read_failure(int fd) {
  int cause = 0;
  ssize_t count = 0;
  do {
    count = read(fd, &cause, sizeof cause);
  } while (count < 0 && errno == EINTR);
  return count == sizeof cause ? cause : 0;
}

std::vector<char*> argument_pointers(const std::vector<std::string>& argv) {
  std::vector<char*> pointers;
  pointers.reserve(argv.size() + 1);
  for (const std::string& argument : argv) {
    pointers.push_back(const_cast<char*>(argument.c_str()));
  }
  pointers.push_back(nullptr);
  return pointers;
}

bool make_nonblocking(int fd) {
  return fcntl(fd, F_SETFL, O_NONBLOCK) == 0;
}

std::chrono::nanoseconds duration_of(const timeval& time) {
  return std::chrono::seconds(time.tv_sec) + std::chrono::microseconds(time.tv_usec);
}

std::string cannot_run(const std::string& program, int cause) {
  return "cannot run " + program + ": " + std::strerror(cause);
}

}  // namespace

child_process::~child_process() {
  if (!running()) { return; }
  kill();
  while (waitpid(pid_, &wait_status_, 0) < 0 && errno == EINTR) {}
}

bool child_process::start(const std::vector<std::string>& argv, child_priority priority,
                          const sandbox* confined_to, std::string& error) {
  assert(!argv.empty() && pid_ == -1);
  pipe_pair output;
  pipe_pair errors;
  pipe_pair failure;
  if (!output.open() || !errors.open() || !failure.open()) {
    error = cannot_run(argv[0], errno);
    return false;
  }
  child_plan plan = {argument_pointers(argv),
                     priority,
                     confined_to,
                     getpid(),
                     output.write_end.get(),
                     errors.write_end.get(),
                     failure.write_end.get()};
  pid_ = fork();
  if (pid_ == 0) { run_child(plan); }
  if (pid_ < 0) {
    error = cannot_run(argv[0], errno);
    return false;
  }
  end_.reset(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)));
  output.write_end.reset();
  errors.write_end.reset();
  failure.write_end.reset();
  output_ = std::move(output.read_end);
  errors_ = std::move(errors.read_end);
  int cause = read_failure(failure.read_end.get());
  if (cause == 0 && !(make_nonblocking(output_fd()) && make_nonblocking(errors_fd()))) {
    cause = errno;
  }
  if (cause != 0) { error = cannot_run(argv[0], cause); }
  return cause == 0;
}

void child_process::set_stopped(bool stopped) {
  if (!running() || stopped == stopped_) { return; }
  stopped_ = stopped;
  ::kill(pid_, stopped ? SIGSTOP : SIGCONT);
}

void child_process::kill() {
  if (running()) { ::kill(pid_, SIGKILL); }
}

bool child_process::reap() {
  if (!running()) { return reaped_; }
  rusage used = {};
  const pid_t ended = wait4(pid_, &wait_status_, WNOHANG, &used);
  if (ended == pid_) { total_cpu_time_ = duration_of(used.ru_utime) + duration_of(used.ru_stime); }
  if (ended < 0 && errno == ECHILD) { wait_status_ = lost_end; }
  reaped_ = ended == pid_ || (ended < 0 && errno == ECHILD);
  return reaped_;
}

std::chrono::nanoseconds child_process::cpu_time() const {
  if (reaped_) { return total_cpu_time_; }
  clockid_t clock = 0;
  timespec used = {};
  if (!running() || clock_getcpuclockid(pid_, &clock) != 0 || clock_gettime(clock, &used) != 0) {
    return std::chrono::nanoseconds(0);
  }
  return std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec);
}

std::chrono::nanoseconds child_process::processor_wait() const {
  std::chrono::nanoseconds sum(0);
  if (!running()) { return sum; }
  std::error_code error;
  const std::string threads = "/proc/" + std::to_string(pid_) + "/task";
  for (std::filesystem::directory_iterator thread(threads, error), end; !error && thread != end;
       thread.increment(error)) {
    std::int64_t executed = 0;
    std::int64_t waited = 0;
    if (std::ifstream(thread->path() / "schedstat") >> executed >> waited) {
      sum += std::chrono::nanoseconds(waited);
    }
  }
  return sum;
}
