// Opening paths through directories in which other accounts can plant symbolic links.
//
// A link is followed if it belongs to root or to this process's account. A link of another account
// is followed too, since people organize their media with links, unless it lies in a directory that
// everybody can write to; and it only allows operations that the account could perform itself:
// either the account owns the target of the path, or everybody has the permission.
#pragma once

#include <string>

#include <sys/types.h>

#include "platform/unique_fd.h"

// Like open(2), with close-on-exec. The result is invalid, with errno set, on failure; ELOOP or
// EACCES if the path leads through a link that is refused as described above.
unique_fd open_trusted(const std::string& path, int flags, mode_t mode = 0);

// Opens the directory that contains `path`, for the *at() calls, and stores the last component of
// the path in `name`. That component itself is not examined. The result is invalid, with errno set,
// on failure.
unique_fd open_directory_of(const std::string& path, std::string& name);

// Like mkdir(2), in the directory found by open_directory_of(). False with errno set on failure.
bool make_directory(const std::string& path, mode_t mode);

// Like unlink(2), in the directory found by open_directory_of(). False with errno set on failure.
bool remove_file(const std::string& path);
