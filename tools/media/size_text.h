// Sizes of files and disks for people.
#pragma once

#include <cstdint>
#include <string>

// "1.5 GB", decimal units.
std::string size_text(std::uint64_t bytes);
