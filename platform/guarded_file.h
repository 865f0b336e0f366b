// New files that may hold secrets, made to be renamed over the one they replace.
#pragma once

#include "platform/unique_fd.h"

// Creates the empty file `path` for writing. What is left there from before is removed first, so
// that neither a link nor a FIFO in its place leads the writer astray. Root and the group of the
// file's directory may read it, the group only where the new file belongs to it; nobody gets a
// right that the umask withholds, or that the file at `replaced`, if there is one, does not give.
// Invalid with errno when the file cannot be made.
unique_fd create_guarded_file(const char* path, const char* replaced);
