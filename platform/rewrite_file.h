// Files that are rewritten in place, in directories that others may write to.
#pragma once

#include <string>

#include "platform/unique_file.h"

// Creates or truncates a regular file and opens it for writing. Empty with errno set when that
// fails, and for anything that stands there and is no regular file: a FIFO would block the caller,
// and a symbolic link would have it overwrite somebody else's file.
unique_file rewrite_file(const std::string& path);
