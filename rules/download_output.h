// Reads the lines that the download tool prints while it fetches an output.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// The progress in ten-thousandths that a line like " 3150K .......... .......... 2% 1.21M 1m40s"
// gives: the amount so far, the dots, the percentage. Nothing for a line of another form.
std::optional<std::int32_t> download_progress(const char* line);

// The size in bytes that the FTP server gave, out of a line like "==> SIZE far.mp4 ... 12345",
// which the tool prints in the same words in every language. Nothing for any other line.
std::optional<long long> announced_size(const std::string& line);
