#include "tools/media/supervision.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tools/job_log/job_log.h"
#include "tools/media/tool_signals.h"

namespace {

// How much is kept of each end of the errors: the first lines give the cause, the last the outcome.
constexpr std::size_t errors_kept = 4096;
constexpr std::size_t read_size = 16384;

// In a row from one pipe. A program may write faster than its output is read here, and the signals
// and the time must not wait for it.
constexpr int most_reads = 64;

// How long a program may keep a pipe open in another process after it has ended itself.
constexpr std::chrono::milliseconds drain_limit{1000};
constexpr std::chrono::seconds longest_tick{1};

// The kernel counts the processor time for a limit less exactly than that of an ended program.
constexpr std::chrono::milliseconds processor_time_margin{500};

}  // namespace

supervision::supervision(program_request request, run_observer* observer)
    : request_(std::move(request)), observer_(observer), stall_(request_.stall_limit),
      left_(request_.time_limit) {}

supervision::~supervision() {
  if (!is_logged_ || ended_) { return; }
  stop_because(program_end::given_up);
  log_end();
}

void supervision::start() {
  log_program(request_.argv);
  is_logged_ = true;
  begin_ = last_ = clock_type::now();
  const sandbox* const confined_to = request_.confined_to ? &*request_.confined_to : nullptr;
  if (child_.start(request_.argv, request_.priority, confined_to, result_.message)) {
    result_.end = program_end::exited;
  } else {
    finish();
  }
}

void supervision::begin_tick(std::vector<pollfd>& watched) {
  if (!has_exited_) { obey_signals(); }
  watched.push_back({output_open_ ? child_.output_fd() : -1, POLLIN, 0});
  watched.push_back({errors_open_ ? child_.errors_fd() : -1, POLLIN, 0});
  watched.push_back({has_exited_ ? -1 : child_.end_fd(), POLLIN, 0});
}

void supervision::end_tick() {
  if (!has_exited_) { count_time(); }
  if (!has_exited_ && child_.reap()) {
    has_exited_ = true;
    drain_end_ = clock_type::now() + drain_limit;
  }
  read_pipes();
  if (!has_exited_ || is_draining()) { return; }
  judge();
  finish();
}

void supervision::obey_suspension() {
  if (suspend_wanted()) { child_.set_stopped(true); }
}

void supervision::finish() {
  ended_ = true;
  log_end();
}

void supervision::log_end() const {
  log_program_end(
      ending(), std::chrono::duration_cast<std::chrono::milliseconds>(clock_type::now() - begin_));
}

void supervision::read_pipes() {
  read_pipe(child_.output_fd(), output_open_, &supervision::take_output);
  read_pipe(child_.errors_fd(), errors_open_, &supervision::take_errors);
}

std::string supervision::ending() const {
  const bool exited = result_.end == program_end::exited;
  return exited ? "exit status " + std::to_string(result_.exit_status) : result_.cause();
}

void supervision::stop_because(program_end reason) {
  if (result_.end == program_end::exited) { result_.end = reason; }
  child_.kill();
}

void supervision::obey_signals() {
  read_tool_signals();
  if (stop_signal() != 0) { stop_because(program_end::tool_stopped); }
  // What the observer does may take a moment.
  obey_suspension();
  const bool suspended = suspend_wanted();
  const bool held = observer_ != nullptr && observer_->on_tick(child_, suspended);
  child_.set_stopped(suspended || held);
  if (observer_ != nullptr && observer_->gives_up()) { stop_because(program_end::given_up); }
  const bool stalled =
      stall_.stalled(clock_type::now().time_since_epoch(), sign_of_work(), suspended || held);
  if (stalled) { stop_because(program_end::stalled); }
}

work_sign supervision::sign_of_work() {
  if (request_.stall_limit.count() > 0 && clock_type::now() >= next_wait_reading_) {
    next_wait_reading_ = clock_type::now() + std::chrono::seconds(1);
    processor_wait_ = child_.processor_wait();
  }
  work_sign sign;
  sign.processor_wait = processor_wait_;
  if (observer_ != nullptr) { sign.done = observer_->work_done(); }
  struct stat output = {};
  const int fd = request_.confined_to ? request_.confined_to->writable : -1;
  if (fd >= 0 && fstat(fd, &output) == 0) {
    sign.output_size = output.st_size;
    sign.output_time = output.st_mtim.tv_sec * std::int64_t{1000000000} + output.st_mtim.tv_nsec;
  }
  return sign;
}

void supervision::read_pipe(int fd, bool& open, void (supervision::*take)(std::string_view)) {
  char buffer[read_size];
  for (int reads = 0; open && reads < most_reads; ++reads) {
    const ssize_t count = read(fd, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) { continue; }
    if (count < 0 && errno == EAGAIN) { return; }
    if (count <= 0) { open = false; }
    if (count > 0) { (this->*take)({buffer, static_cast<std::size_t>(count)}); }
    if (count > 0 && result_.end == program_end::too_much_output) { return; }
  }
}

void supervision::take_output(std::string_view bytes) {
  result_.output.append(bytes);
  if (observer_ != nullptr) { hand_out_lines(); }
  if (result_.output.size() > request_.output_limit) { stop_because(program_end::too_much_output); }
}

void supervision::hand_out_lines() {
  std::size_t begin = 0;
  std::size_t end = 0;
  while ((end = result_.output.find('\n', begin)) != std::string::npos) {
    observer_->on_line(std::string_view(result_.output).substr(begin, end - begin));
    begin = end + 1;
  }
  result_.output.erase(0, begin);
}

void supervision::take_errors(std::string_view bytes) {
  log_program_errors(bytes);
  result_.errors.append(bytes);
  if (result_.errors.size() <= 2 * errors_kept) { return; }
  result_.errors.erase(errors_kept, result_.errors.size() - 2 * errors_kept);
  result_.errors[errors_kept - 1] = '\n';
}

void supervision::count_time() {
  const clock_type::time_point now = clock_type::now();
  // More between two ticks is time in which this process itself was stopped.
  const clock_type::duration passed = std::min<clock_type::duration>(now - last_, longest_tick);
  const bool suspended = suspend_wanted() || (observer_ != nullptr && observer_->suspends());
  if (!suspended) { left_ -= passed; }
  last_ = now;
  const bool limited = request_.time_limit.count() > 0;
  if (limited && left_ <= clock_type::duration::zero()) { stop_because(program_end::timed_out); }
}

// The child's last output may still be in the pipes, or another process may hold them open.
bool supervision::is_draining() {
  read_tool_signals();
  return (output_open_ || errors_open_) && clock_type::now() < drain_end_ &&
         result_.end == program_end::exited && stop_signal() == 0;
}

void supervision::judge() {
  // A signal to the whole process group may have ended the child before it was read here.
  read_tool_signals();
  if (stop_signal() != 0) { stop_because(program_end::tool_stopped); }
  if (result_.end != program_end::exited) { return; }
  const int status = child_.wait_status();
  if (WIFEXITED(status)) {
    result_.exit_status = WEXITSTATUS(status);
  } else if (used_up_processor_time()) {
    result_.end = program_end::timed_out;
  } else {
    result_.end = program_end::killed;
    result_.signal = WTERMSIG(status);
    result_.message = std::string("ended by ") + strsignal(WTERMSIG(status));
  }
}

// The kernel kills a program at its limit of processor time.
bool supervision::used_up_processor_time() const {
  const std::chrono::seconds limit =
      request_.confined_to ? request_.confined_to->processor_time : std::chrono::seconds(0);
  return limit.count() > 0 && WTERMSIG(child_.wait_status()) == SIGKILL &&
         child_.cpu_time() + processor_time_margin >= limit;
}
