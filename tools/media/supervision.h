// The supervision of one external program from its start to its end.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <poll.h>

#include "tools/media/child_process.h"
#include "tools/media/process_runner.h"
#include "tools/media/stall_watch.h"

// Starts a program, takes its output, has it follow the tool's signals, and ends it at its limits.
// It never waits by itself, so that one loop can supervise several programs.
class supervision {
public:
  // `observer` takes the lines of the output and must outlive this object; null collects them.
  supervision(program_request request, run_observer* observer);
  // Kills the program if it still runs.
  ~supervision();
  supervision(const supervision&) = delete;
  supervision& operator=(const supervision&) = delete;

  // Starts the program and logs that. One that cannot be started has ended, with the cause in its
  // result. Once per object, before any of the functions below.
  void start();

  // Whether the program has ended and its output has been read. Only then is the result complete.
  bool has_ended() const { return ended_; }
  const program_result& result() const { return result_; }
  run_observer* observer() const { return observer_; }

  // A tick has two halves, and between them the wait for what this adds to `watched`, of at most
  // run_observer::tick_interval. The first obeys the tool's signals and calls the observer.
  void begin_tick(std::vector<pollfd>& watched);

  // The second counts the time, takes the output that has arrived, and collects the program's end.
  void end_tick();

  // Stops the program at once if the tool is suspended.
  void obey_suspension();

private:
  using clock_type = std::chrono::steady_clock;

  void finish();
  void log_end() const;
  void read_pipes();
  std::string ending() const;
  void stop_because(program_end reason);
  void obey_signals();
  work_sign sign_of_work();
  void read_pipe(int fd, bool& open, void (supervision::*take)(std::string_view));
  void take_output(std::string_view bytes);
  void hand_out_lines();
  void take_errors(std::string_view bytes);
  void count_time();
  bool is_draining();
  void judge();
  bool used_up_processor_time() const;

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
