// Runs an external program to its end, with its output bounded and its time limited, while the
// tool's own signals are obeyed: it is stopped while the tool is suspended (that time does not
// count against its limit), and killed when the tool is asked to stop. Blocks until it has ended.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/media/child_process.h"

struct program_request {
  std::vector<std::string> argv;            // argv[0] is an absolute path
  std::chrono::milliseconds time_limit{0};  // 0 for no limit
  // How long the work may stand still, see run_observer::work_done() and stall_watch; 0 for ever.
  std::chrono::milliseconds stall_limit{0};
  std::size_t output_limit = 1U << 20;  // bytes kept of standard output
  child_priority priority;
  std::optional<sandbox> confined_to;  // for whatever reads media
};

enum class program_end {
  exited,  // by itself: exit_status says how
  killed,  // by a signal that was not the tool's doing
  not_started,
  timed_out,        // more than its time limit, or its limit of processor time
  stalled,          // its work stood still for longer than its stall limit
  too_much_output,  // more than output_limit
  tool_stopped,     // the tool itself is asked to stop
  given_up,         // its observer gave it up
};

struct program_result {
  program_end end = program_end::not_started;
  int exit_status = 0;  // of `exited`
  int signal = 0;       // of `killed`
  std::string output;   // standard output; empty where an observer took the lines
  std::string errors;   // the first and the last 4 KiB of standard error
  std::string message;  // the cause where it could not be started

  bool success() const { return end == program_end::exited && exit_status == 0; }

  // One line for a person: the last line of its errors if there is one, else how it ended.
  std::string cause() const;
};

// Watches a program while it runs. Called from within run_program() only.
class run_observer {
public:
  virtual ~run_observer() = default;

  // A line of standard output, without its line end, valid during the call. A line longer than
  // output_limit ends the program.
  virtual void on_line(std::string_view line) = 0;

  // Called at least every tick_interval while the child runs. True keeps the child stopped until
  // the next tick. `suspended` means that the tool is suspended, and the child with it.
  virtual bool on_tick(const child_process& child, bool suspended) = 0;

  // A number that changes whenever the program gets on with its work. Growth of the file that it
  // writes counts as well.
  virtual std::int64_t work_done() const { return 0; }

  // Asked after each tick: whether the program is stopped for as long as somebody else wants, so
  // that this time does not count against its limit, just as while the tool is suspended.
  virtual bool suspends() const { return false; }

  // Asked after each tick: true ends the program.
  virtual bool gives_up() const { return false; }

  static constexpr std::chrono::milliseconds tick_interval{50};
};

// Runs `request` to its end and collects its output.
program_result run_program(const program_request& request);

// The same, with each line of its output handed to `observer` instead.
program_result run_program(const program_request& request, run_observer& observer);

class supervision;

// Several programs at once, each as by run_program(). Those that still run when this object goes
// are killed.
class program_group {
public:
  program_group();
  ~program_group();
  program_group(const program_group&) = delete;
  program_group& operator=(const program_group&) = delete;

  // Starts another program. `observer` must outlive its end. Without one its output is collected.
  void start(program_request request, run_observer& observer);
  void start(program_request request);

  std::size_t count() const { return running_.size(); }

  // Waits until one of the programs has ended, and returns its result, with its observer, or
  // null, in `of`. There must be one.
  program_result wait_for_one(run_observer*& of);

private:
  void add(std::unique_ptr<supervision> program);

  std::vector<std::unique_ptr<supervision>> running_;
};
