// Bytes that are not UTF-8 in JSON, which must be: file names are bytes, in any encoding.
//
// In a JSON text every byte that is not part of a well-formed UTF-8 sequence is written as the
// escape of U+DC00 plus the byte: \udc80 to \udcff. These are halves of surrogate pairs, which no
// well-formed text contains on their own, so nothing else is ever written like that; and a text
// that is UTF-8 is left as it is.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// The length of the well-formed UTF-8 sequence that the text begins with: 1 to 4; 0 if there is
// none.
std::size_t utf8_length(std::string_view text);

// Rewrites a JSON text whose strings may hold any bytes.
void escape_bytes(std::string& json);

// The opposite: a JSON text with the bytes in place of the escapes.
std::string unescape_bytes(const std::string& json);
