// The rules for files (Landlock): which of them a confined process may open, and for what.
#pragma once

#include "tools/media/sandbox.h"

// The version of such rules that the kernel has; 0 for none.
int file_rules_version();

// Leaves to this process the files of `limits`, the system's libraries and `program`, an absolute
// path; empty for none. It keeps the files it has opened, so this may come before other privileges
// are dropped. Without such rules in the kernel it changes nothing. False with errno.
bool restrict_files(const sandbox& limits, const char* program);
