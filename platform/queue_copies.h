// Copies of queue files that could not be read: path_queue_copy_prefix and the time, in UTC as
// 20261122T013005Z.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

// With more copies than this the oldest are removed; empty ones go first.
constexpr std::size_t queue_copies_kept = 5;

// The paths of the copies, oldest first; none when the folder cannot be read.
std::vector<std::string> queue_file_copies();

// Makes a copy of whatever has the queue file's name, by renaming it, and takes from it the rights
// of all but its owner and group. Its time is later than that of every other copy, whatever the
// clock says. Returns the copy's path; "" with errno when nothing is there (ENOENT), or it cannot
// be renamed.
std::string set_queue_file_aside();
