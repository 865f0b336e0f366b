// A file that appears whole, and never in the place of another.
#pragma once

#include <string>
#include <string_view>

// Writes `content` to `path`, readable by its owner only. What stands there already is left alone:
// false then, as for any other failure, with the cause in `error`, and nothing is left behind.
bool write_new_file(const std::string& path, std::string_view content, std::string& error);

// Whether anything stands there, a dangling symbolic link included.
bool is_taken(const std::string& path);
