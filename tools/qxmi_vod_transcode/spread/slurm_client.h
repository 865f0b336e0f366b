// Runs commands of Slurm beside the tool's other work: nothing here waits for one.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "tools/media/child_process.h"

class slurm_call;

// For commands that ask the controller: they give up after 9 s where it is down.
constexpr std::chrono::seconds answer_limit{15};

// Waits until the call has ended. False if the tool is asked to stop before that.
bool ended_before_stop(slurm_call& call);

// Starts a command that leaves this process to do its work, such as one that cancels, and waits for
// it to have left.
void start_detached(const std::vector<std::string>& argv);

class slurm_call {
public:
  // Starts `argv`; it is killed when it takes longer than `limit`. If it cannot be started it has
  // ended. Once per object.
  void start(const std::vector<std::string>& argv, std::chrono::milliseconds limit);

  // Reads what the command has printed so far; true once it has ended. To be called again and again
  // until then. Waits for at most `patience`.
  bool ended(std::chrono::milliseconds patience = std::chrono::milliseconds(0));

  // Valid once it has ended: whether its exit status is 0, what it printed, and its complaint in
  // one line.
  bool success() const { return success_; }
  const std::string& output() const { return output_; }
  std::string cause() const;

private:
  void read_pipe(int fd, bool& open, std::string& text);
  void finish();

  child_process child_;
  std::chrono::steady_clock::time_point deadline_;
  std::string output_;
  std::string errors_;
  std::string failure_;
  bool output_open_ = true;
  bool errors_open_ = true;
  bool ended_ = false;
  bool success_ = false;
};
