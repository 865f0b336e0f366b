// Texts of unknown origin on a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// `text` with everything that a terminal would not show as a character written as \xNN (a line feed
// as \n): control characters of both sets, those that change the direction of writing, and invalid
// UTF-8. A file name may contain an escape sequence.
std::string printable(std::string_view text);

// The width of a printable text in columns: two for each wide East Asian character, none for a
// combining mark.
std::size_t columns(std::string_view text);

// A printable text in at most `width` columns: the excess is replaced by an ellipsis, at the end,
// or in the middle if both ends are important, as in a file's name.
std::string cut_end(std::string_view text, std::size_t width);
std::string cut_middle(std::string_view text, std::size_t width);

// A printable text followed by blanks, up to `width` columns.
std::string padded(std::string text, std::size_t width);
