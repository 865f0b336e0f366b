#include "tools/media/confined_call.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <iterator>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/file_bytes.h"
#include "platform/unique_fd.h"
#include "tools/media/descriptors.h"
#include "tools/media/tool_signals.h"

namespace {

using clock_type = std::chrono::steady_clock;

constexpr std::size_t longest_answer = 4096;
constexpr std::chrono::milliseconds tick{50};
constexpr std::chrono::milliseconds end_tick{1};  // a child that has answered ends at once
constexpr std::chrono::seconds longest_tick{1};

// The kernel counts the processor time for a limit less exactly than that of an ended process.
constexpr std::chrono::milliseconds processor_time_margin{500};

constexpr const char* not_ended_well = "the examination failed";
constexpr const char* out_of_time = "the time limit has expired";

[[noreturn]] void run_child(const sandbox& limits, const std::function<std::string()>& work,
                            int answer_fd, pid_t parent) {
  std::vector<int> kept = limits.descriptors();
  kept.push_back(answer_fd);
  if (!silence_standard_descriptors()) { _exit(1); }
  close_all_but(std::move(kept));
  // No program follows.
  if (!enter_sandbox(limits, "")) { _exit(1); }
  // Last, since a change of account would undo it.
  if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || getppid() != parent) { _exit(1); }
  _exit(write_all(answer_fd, work()) ? 0 : 1);
}

enum class call_end { answered, timed_out, tool_stopped, failed };

// Waits for the child's answer, obeying the tool's signals meanwhile.
class answer_reader {
public:
  answer_reader(pid_t child, int fd, clock_type::duration time_limit)
      : child_(child), fd_(fd), left_(time_limit) {}

  // Reads until the child has closed its end and ended.
  call_end read(std::string& answer) {
    answer.clear();
    while (left_ > clock_type::duration::zero()) {
      if (stop_signal() != 0) { return call_end::tool_stopped; }
      obey_suspension();
      const bool is_readable = wait();
      if (is_closed() && has_ended()) { return call_end::answered; }
      if (is_readable && !read_some(answer)) { return call_end::failed; }
    }
    return call_end::timed_out;
  }

private:
  void obey_suspension() {
    if (suspend_wanted() == stopped_) { return; }
    stopped_ = suspend_wanted();
    kill(child_, stopped_ ? SIGSTOP : SIGCONT);
  }

  bool is_closed() const { return fd_ < 0; }

  // The child is not reaped.
  bool has_ended() const {
    siginfo_t info = {};
    return waitid(P_PID, static_cast<id_t>(child_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid == child_;
  }

  // Sleeps until something has happened, at most one tick. True if there is something to read.
  bool wait() {
    pollfd watched[] = {{fd_, POLLIN, 0}, {tool_signal_fd(), POLLIN, 0}};
    const clock_type::time_point begin = clock_type::now();
    poll(watched, std::size(watched), static_cast<int>((is_closed() ? end_tick : tick).count()));
    // More is time in which this process itself was stopped.
    const clock_type::duration passed = clock_type::now() - begin;
    if (!stopped_) { left_ -= std::min<clock_type::duration>(passed, longest_tick); }
    read_tool_signals();
    return watched[0].revents != 0;
  }

  // False with errno.
  bool read_some(std::string& answer) {
    char buffer[longest_answer];
    const ssize_t count = ::read(fd_, buffer, sizeof buffer);
    if (count > 0) { answer.append(buffer, static_cast<std::size_t>(count)); }
    answer.resize(std::min(answer.size(), longest_answer));
    if (count == 0) { fd_ = -1; }
    return count >= 0;
  }

  pid_t child_;
  int fd_;  // -1 once the child has closed its end; poll() ignores it then
  clock_type::duration left_;
  bool stopped_ = false;
};

std::chrono::milliseconds processor_time_of(const rusage& used) {
  const auto whole = std::chrono::seconds(used.ru_utime.tv_sec + used.ru_stime.tv_sec);
  const auto rest = std::chrono::microseconds(used.ru_utime.tv_usec + used.ru_stime.tv_usec);
  return std::chrono::duration_cast<std::chrono::milliseconds>(whole + rest);
}

// Why a child that ended by itself has no answer; empty if it ended well.
std::string cause_of_end(int status, const rusage& used, std::chrono::seconds processor_limit) {
  if (WIFEXITED(status)) { return WEXITSTATUS(status) == 0 ? "" : not_ended_well; }
  const bool used_up = processor_limit.count() > 0 && WTERMSIG(status) == SIGKILL &&
                       processor_time_of(used) + processor_time_margin >= processor_limit;
  return used_up ? out_of_time : std::string("ended by ") + strsignal(WTERMSIG(status));
}

// Ends the child if it still runs, and reaps it. Returns why the call failed, or nothing.
std::string end_call(pid_t child, call_end end, std::chrono::seconds processor_limit) {
  if (end != call_end::answered) { kill(child, SIGKILL); }
  int status = 0;
  rusage used = {};
  while (wait4(child, &status, 0, &used) < 0) {
    if (errno != EINTR) { return std::strerror(errno); }
  }
  switch (end) {
  case call_end::answered:
    return cause_of_end(status, used, processor_limit);
  case call_end::timed_out:
    return out_of_time;
  case call_end::tool_stopped:
    return "stopped";
  case call_end::failed:
    break;
  }
  return not_ended_well;
}

}  // namespace

bool call_confined(const sandbox& limits, std::chrono::milliseconds time_limit,
                   const std::function<std::string()>& work, std::string& answer,
                   std::string& error) {
  int ends[2] = {-1, -1};
  if (pipe2(ends, O_CLOEXEC) != 0) {
    error = std::strerror(errno);
    return false;
  }
  const unique_fd read_end(ends[0]);
  unique_fd write_end(ends[1]);
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child == 0) { run_child(limits, work, write_end.get(), parent); }
  if (child < 0) {
    error = std::strerror(errno);
    return false;
  }
  write_end.reset();
  const call_end end = answer_reader(child, read_end.get(), time_limit).read(answer);
  error = end_call(child, end, limits.processor_time);
  return error.empty();
}
