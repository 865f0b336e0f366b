// Texts of unknown origin on a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// `text` with whatever a terminal would not show as a character written as \xNN (a line feed as
// \n): control characters of both sets, those that turn the direction of writing, and bytes that
// are no UTF-8. A file may be named with an escape sequence.
std::string printable(std::string_view text);

// The columns that a printable text takes: two for each wide character of East Asia, none for a
// mark that stands over the character before it.
std::size_t columns(std::string_view text);

// A printable text in `width` columns at most: what does not fit gives way to an ellipsis, at the
// end, or in the middle where both ends tell the most, as in a file's name.
std::string cut_end(std::string_view text, std::size_t width);
std::string cut_middle(std::string_view text, std::size_t width);

// A printable text with blanks behind it, up to `width` columns.
std::string padded(std::string text, std::size_t width);
