#include "tools/media/process_runner.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <utility>

#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tools/job_log/job_log.h"
#include "tools/media/stall_watch.h"
#include "tools/media/tool_signals.h"

namespace {

using clock_type = std::chrono::steady_clock;

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

void wait_for(std::vector<pollfd>& watched) {
  watched.push_back({tool_signal_fd(), POLLIN, 0});
  poll(watched.data(), watched.size(), static_cast<int>(run_observer::tick_interval.count()));
}

}  // namespace

// One program from its start to its end.
class supervision {
public:
  supervision(program_request request, run_observer* observer)
      : request_(std::move(request)), observer_(observer), stall_(request_.stall_limit),
        left_(request_.time_limit) {}
  ~supervision() {
    if (!is_logged_ || ended_) { return; }
    stop_because(program_end::given_up);
    log_end();
  }
  supervision(const supervision&) = delete;
  supervision& operator=(const supervision&) = delete;

  void start() {
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

  bool has_ended() const { return ended_; }
  const program_result& result() const { return result_; }
  run_observer* observer() const { return observer_; }

  // A tick has two halves, and between them the wait for what this adds to `watched`.
  void begin_tick(std::vector<pollfd>& watched) {
    if (!has_exited_) { obey_signals(); }
    watched.push_back({output_open_ ? child_.output_fd() : -1, POLLIN, 0});
    watched.push_back({errors_open_ ? child_.errors_fd() : -1, POLLIN, 0});
    watched.push_back({has_exited_ ? -1 : child_.end_fd(), POLLIN, 0});
  }

  void end_tick() {
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

  // Stops it at once if the tool is suspended.
  void obey_suspension() {
    if (suspend_wanted()) { child_.set_stopped(true); }
  }

private:
  void finish() {
    ended_ = true;
    log_end();
  }

  void log_end() const {
    log_program_end(ending(), std::chrono::duration_cast<std::chrono::milliseconds>(
                                  clock_type::now() - begin_));
  }

  void read_pipes() {
    read_pipe(child_.output_fd(), output_open_, &supervision::take_output);
    read_pipe(child_.errors_fd(), errors_open_, &supervision::take_errors);
  }

  std::string ending() const {
    const bool exited = result_.end == program_end::exited;
    return exited ? "exit status " + std::to_string(result_.exit_status) : result_.cause();
  }

  void stop_because(program_end reason) {
    if (result_.end == program_end::exited) { result_.end = reason; }
    child_.kill();
  }

  void obey_signals() {
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

  work_sign sign_of_work() {
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

  void read_pipe(int fd, bool& open, void (supervision::*take)(std::string_view)) {
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

  void take_output(std::string_view bytes) {
    result_.output.append(bytes);
    if (observer_ != nullptr) { hand_out_lines(); }
    if (result_.output.size() > request_.output_limit) {
      stop_because(program_end::too_much_output);
    }
  }

  void hand_out_lines() {
    std::size_t begin = 0;
    std::size_t end = 0;
    while ((end = result_.output.find('\n', begin)) != std::string::npos) {
      observer_->on_line(std::string_view(result_.output).substr(begin, end - begin));
      begin = end + 1;
    }
    result_.output.erase(0, begin);
  }

  void take_errors(std::string_view bytes) {
    log_program_errors(bytes);
    result_.errors.append(bytes);
    if (result_.errors.size() <= 2 * errors_kept) { return; }
    result_.errors.erase(errors_kept, result_.errors.size() - 2 * errors_kept);
    result_.errors[errors_kept - 1] = '\n';
  }

  void count_time() {
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
  bool is_draining() {
    read_tool_signals();
    return (output_open_ || errors_open_) && clock_type::now() < drain_end_ &&
           result_.end == program_end::exited && stop_signal() == 0;
  }

  void judge() {
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
  bool used_up_processor_time() const {
    const std::chrono::seconds limit =
        request_.confined_to ? request_.confined_to->processor_time : std::chrono::seconds(0);
    return limit.count() > 0 && WTERMSIG(child_.wait_status()) == SIGKILL &&
           child_.cpu_time() + processor_time_margin >= limit;
  }

  program_request request_;
  run_observer* observer_;
  child_process child_;
  program_result result_;
  stall_watch stall_;
  clock_type::time_point next_wait_reading_;
  std::chrono::nanoseconds processor_wait_{0};
  bool output_open_ = true;
  bool errors_open_ = true;
  bool has_exited_ = false;
  clock_type::time_point drain_end_;
  clock_type::duration left_;
  clock_type::time_point begin_;
  clock_type::time_point last_;
  bool is_logged_ = false;
  bool ended_ = false;
};

namespace {

program_result run_to_its_end(const program_request& request, run_observer* observer) {
  supervision program(request, observer);
  program.start();
  while (!program.has_ended()) {
    std::vector<pollfd> watched;
    program.begin_tick(watched);
    wait_for(watched);
    program.end_tick();
  }
  return program.result();
}

std::string last_line(std::string_view text) {
  const std::size_t end = text.find_last_not_of(" \r\n");
  if (end == std::string_view::npos) { return {}; }
  text = text.substr(0, end + 1);
  const std::size_t line_feed = text.rfind('\n');
  return std::string(line_feed == std::string_view::npos ? text : text.substr(line_feed + 1));
}

}  // namespace

std::string program_result::cause() const {
  switch (end) {
  case program_end::timed_out:
    return "the time limit has expired";
  case program_end::stalled:
    return "engine stalled";
  case program_end::too_much_output:
    return "too much output";
  case program_end::tool_stopped:
    return "stopped";
  case program_end::given_up:
    return "given up";
  case program_end::not_started:
    return message;
  case program_end::exited:
  case program_end::killed:
    break;
  }
  const std::string line = last_line(errors);
  if (end == program_end::killed) { return line.empty() ? message : message + ": " + line; }
  return line.empty() ? "exit status " + std::to_string(exit_status) : line;
}

program_result run_program(const program_request& request) {
  return run_to_its_end(request, nullptr);
}

program_result run_program(const program_request& request, run_observer& observer) {
  return run_to_its_end(request, &observer);
}

program_group::program_group() = default;
program_group::~program_group() = default;

void program_group::start(program_request request, run_observer& observer) {
  add(std::make_unique<supervision>(std::move(request), &observer));
}

void program_group::start(program_request request) {
  add(std::make_unique<supervision>(std::move(request), nullptr));
}

void program_group::add(std::unique_ptr<supervision> program) {
  running_.push_back(std::move(program));
  running_.back()->start();
}

program_result program_group::wait_for_one(run_observer*& of) {
  while (true) {
    const auto ended = std::find_if(running_.begin(), running_.end(),
                                    [](const auto& program) { return program->has_ended(); });
    if (ended != running_.end()) {
      program_result result = (*ended)->result();
      of = (*ended)->observer();
      running_.erase(ended);
      return result;
    }
    std::vector<pollfd> watched;
    // All of them before the observer of any has something to do.
    read_tool_signals();
    for (const auto& program : running_) {
      program->obey_suspension();
    }
    for (const auto& program : running_) {
      program->begin_tick(watched);
    }
    wait_for(watched);
    for (const auto& program : running_) {
      program->end_tick();
    }
  }
}
