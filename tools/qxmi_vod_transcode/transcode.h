// Makes the output file from the source.
#pragma once

#include <string>

struct transcode_options {
  std::string input;
  std::string output;
  std::string profile;  // a height or sound_profile
  int level = 0;        // see child_priority
  int cpu_cap = 0;      // percent of all processors together; 0 for no limit
  int max_threads = 0;  // 0 is as many as there are processors
};

// Transcodes, verifies the result and gives it its name; prints its progress on standard output and
// a failure on standard error, in the name of `tool`. Returns the exit status. If the tool is asked
// to stop, it returns as soon as the engine is dead, and leaves no files.
int transcode(const std::string& tool, const transcode_options& options);
