// The log of this run of a tool, kept next to the media so that the owner of the job sees why it
// failed: commands, engine output, lengths, versions and the result.
//
// There is one log per process, like its signals. Nothing here fails or blocks: a log that cannot
// be written is omitted, and everything logged before it is opened is dropped. Lines that do not
// fit on the disk are kept, within bounds, and written at the end if there is room by then.
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
// the tool's version and command line to it. The directory must exist and must not be a symbolic
// link, and the log must be missing or a regular file with no other name. `source` is the file that
// the tool reads: failures concern it unless another file is named.
void open_job_log(const std::string& tool, const std::string& folder, const std::string& source,
                  process_arguments arguments);

// As open_job_log(), for a tool that creates the directory: if it is missing, the section is kept
// in memory, and the directory is created at the end to write it, unless the tool was stopped.
void open_job_log_and_folder(const std::string& tool, const std::string& folder,
                             const std::string& source, process_arguments arguments);

// Keeps `secret` out of all that is logged from now on.
void hide_in_job_log(const std::string& secret);

// One line "KEY: TEXT".
void log_note(std::string_view key, std::string_view text);

// A measured or declared length, in seconds.
void log_length(std::string_view of, double seconds);

// A program that is about to run, its standard error, and how it ended.
void log_program(const std::vector<std::string>& argv);
void log_program_errors(std::string_view bytes);
void log_program_end(std::string_view how, std::chrono::milliseconds took);

// Sets the code of the next reported failure, if its words do not imply it.
void name_failure(failure why);

// The failure that the tool reports; the last one counts. `file` is the file concerned, empty for
// the tool itself.
void log_failure(std::string_view file, std::string_view cause);

// Closes the section: with the failure that was logged, or as stopped by `signal` unless that is 0,
// or as done. An exit status other than 0 without a failure is one, too.
void close_job_log(int status, int signal);
