// The conventions every tool's command line keeps: a wrong option is one line on standard error
// and exit status 2, --help and --version exit 0, a failure is one line that names the file and
// the cause and exit status 1.
#pragma once

#include <string>
#include <string_view>

#include "tools/job_log/one_line.h"

constexpr int exit_success = 0;
constexpr int exit_failure = 1;
constexpr int exit_usage = 2;

// Returned by the parser if the tool should continue.
constexpr int keep_going = -1;

// Prints "TOOL: FILE: CAUSE" on standard error and returns exit_failure. A file name may hold
// anything, so control characters are shown as \n or \xNN: it stays one line. The job's log gets it
// as well.
int report_failure(std::string_view tool, std::string_view file, std::string_view cause);

// Prints "TOOL: CAUSE" on standard error, for options that fit the grammar but not one another,
// and returns exit_usage. The job's log gets it as well.
int report_usage(std::string_view tool, std::string_view cause);
