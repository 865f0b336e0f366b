// Carries out a stand-in tool's plan step by step.
#pragma once

#include <string>
#include <vector>

#include "tests/support/stand_in/call_record.h"

namespace qx_test {

class plan_runner {
public:
  plan_runner(call_record record, std::vector<std::string> argv);

  // Performs every step of the plan for this run; returns the exit status.
  int run();

private:
  void step(const std::vector<std::string>& words);
  void write_metadata(const std::string& lines) const;
  void remove_trees() const;
  void wait_for_trigger(const std::string& name) const;
  void catch_signal(int number) const;
  void start_grandchild() const;
  void hold(const std::string& path, long position) const;

  std::string plan_text() const;
  std::string expanded(const std::string& path) const;
  std::string option_value(const std::string& name) const;

  call_record record_;
  std::vector<std::string> argv_;
};

}  // namespace qx_test
