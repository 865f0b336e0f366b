// Descriptors of a process that is about to be confined, or may hang.
#pragma once

#include <vector>

// Closes every descriptor above 2 except `kept`.
void close_all_but(std::vector<int> kept);

// Puts /dev/null in the place of standard input, output and errors. False with errno on failure.
bool silence_standard_descriptors();
