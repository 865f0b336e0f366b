// The record that a stand-in tool leaves of one run: a folder named by the tool and a number.
#pragma once

#include <string>

namespace qx_test {

// Everything a stand-in shares with the test lies below this folder of the private root.
constexpr const char* stand_in_folder = "/run/stand_ins";

// The step that a command line stands for: see namespace tool in tool_plan.h.
std::string tool_name(int argc, char** argv);

struct call_record {
  std::string name;
  int number = 0;
  std::string folder;

  std::string file(const char* what) const { return folder + "/" + what; }
};

// Makes the folder and notes argv, environment, descriptors, ids. The file "info" comes last and
// by rename: a record that has it is complete.
call_record record_call(int argc, char** argv, char** environment);

}  // namespace qx_test
