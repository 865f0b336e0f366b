#include "tools/media/confined_call.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <iterator>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "platform/file_bytes.h"
#include "platform/unique_fd.h"
#include "tools/media/descriptors.h"
#include "tools/media/tool_signals.h"

namespace {

using clock_type = std::chrono::steady_clock;

constexpr std::chrono::seconds time_limit{30};
constexpr std::size_t longest_answer = 4096;

bool silence_standard_descriptors() {
  const int null_fd = open("/dev/null", O_RDWR | O_CLOEXEC);
  return null_fd >= 0 && dup2(null_fd, STDIN_FILENO) >= 0 && dup2(null_fd, STDOUT_FILENO) >= 0 &&
         dup2(null_fd, STDERR_FILENO) >= 0;
}

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

// Reads until the child has closed its end, the tool is asked to stop or the time is over.
bool read_answer(int fd, std::string& answer) {
  const clock_type::time_point deadline = clock_type::now() + time_limit;
  while (stop_signal() == 0 && clock_type::now() < deadline) {
    pollfd watched[] = {{fd, POLLIN, 0}, {tool_signal_fd(), POLLIN, 0}};
    poll(watched, std::size(watched), 1000);
    read_tool_signals();
    if (watched[0].revents == 0) { continue; }
    char buffer[longest_answer];
    const ssize_t count = read(fd, buffer, sizeof buffer);
    if (count <= 0) { return count == 0; }
    answer.append(buffer, static_cast<std::size_t>(count));
    answer.resize(std::min(answer.size(), longest_answer));
  }
  return false;
}

// Ends the child if it still runs. True if it has ended by itself, and well.
bool has_ended_well(pid_t child, bool answered) {
  if (!answered) { kill(child, SIGKILL); }
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) { return false; }
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace

bool call_confined(const sandbox& limits, const std::function<std::string()>& work,
                   std::string& answer, std::string& error) {
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
  answer.clear();
  const bool answered = read_answer(read_end.get(), answer);
  if (has_ended_well(child, answered) && answered) { return true; }
  error = stop_signal() != 0 ? "stopped" : "the examination failed";
  return false;
}
