// The service takes no arguments.
#pragma once

// True when the command line is as it should be; otherwise what is wrong, or the usage, was printed
// to standard error.
bool check_command_line(int argc, const char* const* argv);
