// Contents of segments as far as they are looked at.
#pragma once

#include <cstdint>
#include <string>

namespace qx_test {

// The parts of an MP4 file that are looked at. `parameters` stands for what a decoder needs.
std::string film(std::uint32_t frames, const std::string& parameters = "parameters");

// The same of sound that is made as a whole.
std::string whole_sound(std::uint32_t packets);

// Packets of 10 bytes.
std::string sound(int packets);

}  // namespace qx_test
