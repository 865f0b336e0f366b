// The record a stand-in tool writes for each run, before it follows its plan: a folder named after
// the tool and a number.
#pragma once

#include <string>

namespace qx_test {

// Everything that a stand-in shares with the test is below this folder of the private root.
constexpr const char* stand_in_folder = "/run/stand_ins";

// The step that a command line belongs to: see namespace tool in tool_plan.h.
std::string tool_name(int argc, char** argv);

struct call_record {
  std::string name;
  int number = 0;
  std::string folder;

  std::string file(const char* what) const { return folder + "/" + what; }
};

// Creates the folder and records argv, environment, descriptors and ids. The file "info" is written
// last, by a rename: a record that has it is complete.
call_record record_call(int argc, char** argv, char** environment);

}  // namespace qx_test
