// Unfinished results: known by their name, in use while they are locked, left over when they are
// not.
#pragma once

#include <cstddef>
#include <string>

// How the name of an unfinished result begins.
constexpr const char* left_part_prefix = ".qx-part-";

struct left_part_sums {
  std::size_t count = 0;
  unsigned long long bytes = 0;
};

// Takes the part `path`, just made and open as `fd`, for this tool until the descriptor is closed.
// False when somebody who looked for left-over parts was faster.
bool take_part(int fd, const std::string& path);

// What of `directory` is left over: regular files of such names that nobody has locked. Where the
// file system knows no locks there is nothing that could be told to be left over.
left_part_sums find_left_parts(const std::string& directory);

// Removes it, and tells how much that was.
left_part_sums remove_left_parts(const std::string& directory);
