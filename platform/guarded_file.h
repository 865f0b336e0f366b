// New files that may hold secrets, meant to be renamed over the files that they replace.
#pragma once

#include "platform/unique_fd.h"

// Creates the empty file `path` for writing. Anything already at that path is removed first, so
// that a link or a FIFO there cannot mislead the writer. The file can be read by root and by the
// group of its directory, provided that the new file belongs to that group; no permission is
// granted that the umask withholds, or that the file at `replaced`, if it exists, does not grant.
// The result is invalid, with errno set, if the file cannot be created.
unique_fd create_guarded_file(const char* path, const char* replaced);
