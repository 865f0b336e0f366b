// Descriptors of a process that is about to be confined.
#pragma once

#include <vector>

// Closes every descriptor above 2 except `kept`.
void close_all_but(std::vector<int> kept);
