// Texts made by a printf format.
#pragma once

#include <string>

// The text that printf() would print. Empty if the format or a value cannot be printed.
std::string formatted(const char* format, ...) __attribute__((format(printf, 1, 2)));
