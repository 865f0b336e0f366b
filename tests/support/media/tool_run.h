// Runs one of the built tools as the service does: in its own session, with SIGPIPE ignored, and
// signalled by process group.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace qx_test {

// How a process ended: one of the two is set, the other is -1.
struct tool_end {
  int status = -1;
  int signal = -1;
};

// Where the tool's standard output goes.
enum class tool_output { kept, reader_gone };

class tool_run {
public:
  // Starts the tool with `arguments`, in `folder` if one is given; a failure fails the test.
  tool_run(const std::string& tool, const std::vector<std::string>& arguments,
           const std::string& folder = "", tool_output output = tool_output::kept);
  // Kills all processes left in its group.
  ~tool_run();
  tool_run(const tool_run&) = delete;
  tool_run& operator=(const tool_run&) = delete;

  // Sends to the whole group, as the service does.
  void signal_group(int number) const;

  // Waits for the tool's end; the test fails at the deadline.
  tool_end wait(std::chrono::milliseconds deadline = std::chrono::seconds(60));

  // Its output so far.
  std::string output() const;
  std::string errors() const;
  std::vector<std::string> output_lines() const;
  std::vector<std::string> error_lines() const;

  // The process id of the engine it started, as soon as that executes ffmpeg; waits for it, -1 at
  // the deadline.
  pid_t engine() const;

  pid_t pid() const { return pid_; }

private:
  pid_t pid_ = -1;
  int output_fd_ = -1;
  int errors_fd_ = -1;
  std::optional<tool_end> ended_;
};

// Runs a tool to its end, in `folder` if one is given.
struct tool_result {
  tool_end end;
  std::vector<std::string> output;
  std::vector<std::string> errors;
};
tool_result run_tool(const std::string& tool, const std::vector<std::string>& arguments,
                     const std::string& folder = "");

// For any process: its processor time so far in seconds, and its state letter as in /proc (0 if
// there is no such process).
double cpu_seconds(pid_t pid);
char process_state(pid_t pid);

// A temporary folder, removed with everything in it.
class scratch_folder {
public:
  scratch_folder();
  ~scratch_folder();
  scratch_folder(const scratch_folder&) = delete;
  scratch_folder& operator=(const scratch_folder&) = delete;

  const std::string& path() const { return path_; }
  std::string file(const std::string& name) const { return path_ + "/" + name; }

  // The names in it, sorted, including hidden ones.
  std::vector<std::string> names() const;

private:
  std::string path_;
};

}  // namespace qx_test
