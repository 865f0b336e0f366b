// The text form of a plan: one step per line, a verb and its arguments. An argument is a blank,
// "=", and its bytes; bytes that are not printable, blanks and "%" are written as "%" and two hex
// digits. Written by the tests, read by the stand-in tool.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qx_test {

std::string encode_plan_argument(std::string_view bytes);

// A line's verb, then its arguments, decoded.
std::vector<std::string> decode_plan_line(const std::string& line);

}  // namespace qx_test
