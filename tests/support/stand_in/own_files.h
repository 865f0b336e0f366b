// File helpers of the stand-in tool, which links no test library.
#pragma once

#include <string>
#include <string_view>

namespace qx_test {

// Writes the file under a temporary name and renames it, so that nobody sees half of it. Ends the
// process with status 120 if that fails, a status that no real tool is known to use.
void write_whole(const std::string& path, std::string_view content);

// The whole file; empty if there is none.
std::string read_whole(const std::string& path);

// Everything from a descriptor until end of file.
std::string read_to_end(int fd);

bool file_exists(const std::string& path);

[[noreturn]] void fail(const std::string& what);

}  // namespace qx_test
