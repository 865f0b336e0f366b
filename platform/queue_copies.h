// Copies of unreadable queue files. Their paths are path_queue_copy_prefix followed by the UTC
// time, such as 20261122T013005Z.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// If there are more copies than this, the oldest are removed, empty ones first.
constexpr std::size_t queue_copies_kept = 5;

// Returns the paths of the copies, oldest first; empty if the folder cannot be read.
std::vector<std::string> queue_file_copies();

// Turns whatever has the queue file's name into a copy by renaming it, and removes all permissions
// for users other than its owner and group. Its time is later than that of every other copy,
// even if the clock was set back. Returns the copy's path, or "" with errno set if there is no
// queue file (ENOENT) or it cannot be renamed.
std::string set_queue_file_aside();
