// How far the FTP client has read a source.
#pragma once

#include <cstdint>
#include <string_view>

// Finds the largest value of the lines "pos: NUMBER" in the information on a descriptor that /proc
// gives. False, with `position` unchanged, if there is no such line; a last line without a line
// feed is ignored.
bool find_read_position(std::string_view text, std::uint64_t& position);
