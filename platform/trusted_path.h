// Opening paths through directories in which other accounts can plant symbolic links.
//
// A link is followed if it belongs to root or to this process's account. One of another account is
// followed too, since people arrange their media by links, but not if it lies in a directory that
// everybody can write to, and only to what that account may do itself: it must own what the path
// leads to, or everybody must be allowed to.
#pragma once

#include <string>

#include <sys/types.h>

#include "platform/unique_fd.h"

// Like open(2), close-on-exec. Invalid with errno on failure; ELOOP or EACCES for a path that leads
// over a link as above.
unique_fd open_trusted(const std::string& path, int flags, mode_t mode = 0);

// Opens the directory that contains `path`, for the *at() calls, and gives the last component of
// the path as `name`. That component is not looked at.
unique_fd open_directory_of(const std::string& path, std::string& name);
