// What a test and the library in the tool (step_library.cpp) share: a file that both have mapped.
#pragma once

#include <atomic>

namespace qx_test {

// A step is a call that changes what the disk holds of names, or waits until the disk holds it, or
// starts a program. They are counted from 1, and those that give a file a name also by themselves.
enum class step_action { none, kill_tool, kill_engine, kill_group, terminate_group };

// The path of the file is in this variable of the tool's environment.
constexpr char step_plan_variable[] = "QX_STEP_PLAN";

struct step_plan {
  std::atomic<long> seen;        // steps so far
  std::atomic<long> armed;       // the step before which `action` happens; 0 for none
  std::atomic<long> names;       // renames and links so far
  std::atomic<long> armed_name;  // the one of these before which `action` happens; 0 for none
  std::atomic<int> action;       // a step_action
  std::atomic<int> happened;     // whether it did

  // If that is set, the tool stops itself by SIGSTOP before it next waits for the disk, and puts
  // its process id into `stopped`.
  std::atomic<int> stops_at_flush;
  std::atomic<int> stopped;

  // After the first `passing` programs with this argument, the next ones wait until `released`; the
  // first that waits has the process id `held`. Empty for none.
  char held_argument[64];
  std::atomic<int> passing;
  std::atomic<int> held;
  std::atomic<int> released;

  // The folder for a journal of what has reached the disk (disk_journal.h), and the number of its
  // entries. Empty for none.
  char journal[256];
  std::atomic<long> entries;
};

}  // namespace qx_test
