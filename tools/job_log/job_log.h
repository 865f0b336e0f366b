// The log of this run of a tool, kept beside the media so that whoever has the job sees why it
// failed: what was run, what the engines said, lengths, versions, and the end of it.
//
// One for the process, like its signals. Nothing here fails or blocks: a log that cannot be written
// is left unwritten, and until it is opened all that is said to it is dropped. What finds no room
// on the disk is kept, within bounds, and written with the end if there is room by then.
#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "tools/job_log/failure.h"

struct process_arguments {
  int count;
  char** values;
};

// Opens the section of this run of `tool` in the log of `folder`, a metadata directory, and writes
// the tool's version and command line to it. Only where the directory is there already, is no
// symbolic link, and holds under the log's name nothing or a regular file with no other name.
// `source` is the file the tool reads: what fails is told of it unless another file is named.
void open_job_log(const std::string& tool, const std::string& folder, const std::string& source,
                  process_arguments arguments);

// As open_job_log(), for a tool that makes the directory: where it is missing, the section is kept
// and written with its end, and the directory made for it then, unless the tool was stopped.
void open_job_log_and_folder(const std::string& tool, const std::string& folder,
                             const std::string& source, process_arguments arguments);

// Keeps `secret` out of all that is logged from now on.
void hide_in_job_log(const std::string& secret);

// One line "KEY: TEXT".
void log_note(std::string_view key, std::string_view text);

// A length that was measured or told, in seconds.
void log_length(std::string_view of, double seconds);

// A program that is about to run, what it says on its standard error, and how it has ended.
void log_program(const std::vector<std::string>& argv);
void log_program_errors(std::string_view bytes);
void log_program_end(std::string_view how, std::chrono::milliseconds took);

// The code of the failure that is reported next, where its words do not tell it.
void name_failure(failure why);

// The failure that the tool reports; the last one counts. `file` is what it is about, empty for the
// tool's own doing.
void log_failure(std::string_view file, std::string_view cause);

// Closes the section: with the failure that was logged, or as stopped by `signal` unless that is 0,
// or as done. An exit status other than 0 without a failure is one, too.
void close_job_log(int status, int signal);
