// The text form of a plan: one step a line, a verb and its arguments. An argument is a blank, "=",
// and its bytes, those that are not printable, the blank and "%" as "%" and two hex digits. Shared
// by the tests, which write it, and the stand-in tool, which reads it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qx_test {

std::string encode_plan_argument(std::string_view bytes);

// A line's verb, then its arguments as they were.
std::vector<std::string> decode_plan_line(const std::string& line);

}  // namespace qx_test
