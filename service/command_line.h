// The service's command line: no arguments.
#pragma once

// True if there are no arguments; otherwise prints the error, or the usage, to standard error.
bool check_command_line(int argc, const char* const* argv);
