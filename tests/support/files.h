// Small whole-file helpers of the tests.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qx_test {

using name_values = std::vector<std::pair<std::string, std::string>>;

bool exists(const std::string& path);

// The whole file; empty if it cannot be read.
std::string read_file(const std::string& path);

// Writes the whole file and creates its parent folders; a failure fails the test.
void write_file(const std::string& path, std::string_view content);

// The lines of a text without their line feeds; an unterminated last line counts.
std::vector<std::string> lines_of(const std::string& text);

// The pieces of a text between NUL bytes, as /proc/PID/cmdline has them.
std::vector<std::string> split_at_nul(const std::string& text);

}  // namespace qx_test
