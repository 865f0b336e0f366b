// Runs the transcoder so that something happens right before one of its steps (step_plan.h), or so
// that one of its engines waits before it begins.
#pragma once

#include <string>
#include <vector>

#include "tests/support/checkpoint/step_plan.h"
#include "tests/support/media/tool_run.h"

namespace qx_test {

class stepped_tool {
public:
  stepped_tool();
  ~stepped_tool();
  stepped_tool(const stepped_tool&) = delete;
  stepped_tool& operator=(const stepped_tool&) = delete;

  // The environment of the transcoder for whoever starts it otherwise.
  std::vector<std::string> environment() const;

  // Starts the transcoder with what was chosen since the last reset(). The steps of several at the
  // same time are counted together.
  tool_run start(const std::vector<std::string>& arguments) const;

  // Chooses nothing, and counts steps from 1 again.
  void reset();

  // `action` happens right before step `number`.
  void arm(long number, step_action action);
  // The same before the rename or link of that number.
  void arm_name(long number, step_action action);
  bool has_happened() const { return plan_->happened != 0; }
  long steps() const { return plan_->seen; }

  // The tool stops itself before it next waits for the disk. Its process id, as it knows it, as
  // soon as it does so; -1 at the deadline.
  void stop_at_flush() { plan_->stops_at_flush = 1; }
  pid_t stopped() const;

  // Engines with that argument, except the first `passing`, wait until release() is called.
  void hold(const std::string& argument, int passing = 0);
  void release() { plan_->released = 1; }
  // The process id of the engine that waits, as soon as one does; -1 at the deadline.
  pid_t held() const;

  // Journal entries (disk_journal.h) go to this folder, numbered from `first` on.
  void keep_journal(const std::string& folder, long first);

private:
  scratch_folder folder_;
  step_plan* plan_ = nullptr;
};

}  // namespace qx_test
