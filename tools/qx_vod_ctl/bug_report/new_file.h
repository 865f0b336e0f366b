// A file that appears whole, and never in the place of another.
#pragma once

#include <string>
#include <string_view>

// Writes `content` to a new file `path`, readable by its owner only. An existing file is not
// touched: the result is then false, as for any other failure, with the cause in `error` and no
// file left.
bool write_new_file(const std::string& path, std::string_view content, std::string& error);

// Whether the name is taken, even by a dangling symbolic link.
bool is_taken(const std::string& path);
