#include "tools/qxmi_vod_transcode/spread/slurm_client.h"

#include <algorithm>
#include <cerrno>

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tools/job_log/one_line.h"
#include "tools/media/tool_signals.h"

namespace {

using clock_type = std::chrono::steady_clock;

constexpr std::chrono::milliseconds tick{50};
constexpr std::chrono::milliseconds leave_limit{400};
constexpr std::size_t output_limit = 4U << 20;  // squeue prints 30 bytes for a task
constexpr std::size_t read_size = 16384;

std::string last_line(const std::string& text) {
  const std::size_t end = text.find_last_not_of(" \r\n");
  if (end == std::string::npos) { return {}; }
  const std::size_t before = text.rfind('\n', end);
  const std::size_t begin = before == std::string::npos ? 0 : before + 1;
  return on_one_line(text.substr(begin, end - begin + 1));
}

}  // namespace

void slurm_call::start(const std::vector<std::string>& argv, std::chrono::milliseconds limit) {
  deadline_ = clock_type::now() + limit;
  if (!child_.start(argv, {}, nullptr, failure_)) { ended_ = true; }
}

void slurm_call::read_pipe(int fd, bool& open, std::string& text) {
  char buffer[read_size];
  while (open && text.size() < output_limit) {
    const ssize_t count = read(fd, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) { continue; }
    if (count < 0 && errno == EAGAIN) { return; }
    open = count > 0;
    if (!open) { return; }
    text.append(buffer, static_cast<std::size_t>(count));
  }
  if (!open) { return; }
  failure_ = "too much output";
  child_.kill();
}

bool slurm_call::ended(std::chrono::milliseconds patience) {
  if (ended_) { return true; }
  // A pipe that the command has closed would be ready all the time.
  pollfd watched[] = {{output_open_ ? child_.output_fd() : -1, POLLIN, 0},
                      {errors_open_ ? child_.errors_fd() : -1, POLLIN, 0},
                      {child_.end_fd(), POLLIN, 0}};
  const clock_type::time_point until = std::min(clock_type::now() + patience, deadline_);
  const auto left =
      std::chrono::duration_cast<std::chrono::milliseconds>(until - clock_type::now());
  poll(watched, std::size(watched), std::max<int>(0, static_cast<int>(left.count())));
  const bool over = child_.reap();
  read_pipe(child_.output_fd(), output_open_, output_);
  read_pipe(child_.errors_fd(), errors_open_, errors_);
  if (over) {
    finish();
  } else if (clock_type::now() >= deadline_ && failure_.empty()) {
    failure_ = "does not answer";
    child_.kill();
  }
  return ended_;
}

void slurm_call::finish() {
  ended_ = true;
  const int status = child_.wait_status();
  success_ = failure_.empty() && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool ended_before_stop(slurm_call& call) {
  while (!call.ended(tick)) {
    read_tool_signals();
    if (stop_signal() != 0) { return false; }
  }
  return true;
}

void start_detached(const std::vector<std::string>& argv) {
  slurm_call call;
  call.start(argv, leave_limit);
  while (!call.ended(leave_limit)) {}
}

std::string slurm_call::cause() const {
  if (!failure_.empty()) { return failure_; }
  const std::string line = last_line(errors_);
  const int status = child_.wait_status();
  if (!line.empty() || !WIFEXITED(status)) { return line.empty() ? "was killed" : line; }
  return "exit status " + std::to_string(WEXITSTATUS(status));
}
