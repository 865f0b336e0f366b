// Names that nobody else has, on this machine or another one.
#pragma once

#include <string>

// 16 hexadecimal digits, other ones each time.
std::string random_word();

// The same, but at each call the one that this process chose first. Process numbers are not enough
// where several machines share a folder: even their host names may be the same.
const std::string& process_word();
