// Texts of unknown origin on a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// `text` with whatever a terminal would not show as a character written as \xNN (a line feed as
// \n): control characters of both sets, and bytes that are no UTF-8. A file may be named with an
// escape sequence.
std::string printable(std::string_view text);

// The columns that a printable text takes, one for each character of it.
std::size_t columns(std::string_view text);
