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

// Takes the part `name` in `directory`, just created and open as `fd`, for this tool until the
// descriptor is closed. False if a search for left-over parts was faster.
bool take_part(int fd, int directory, const std::string& name);

// Whether `name` in `directory` is the file that is open as `fd`, and not another in its place.
bool has_name(int fd, int directory, const std::string& name);

// The left-over parts in `directory`: regular files with such names that are not locked. Without
// support for locks in the file system, none can be recognised.
left_part_sums find_left_parts(const std::string& directory);

// Removes them, and returns how many there were.
left_part_sums remove_left_parts(const std::string& directory);
left_part_sums remove_left_parts(int directory);  // may be open with O_PATH
