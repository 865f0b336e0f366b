// The processors that this process may use.
#pragma once

#include <cstddef>

// Counts the processors. Call it once when the process starts.
void init_tarn_utils_cpu();

// Returns that count, at least 1. Counts the processors itself if init_tarn_utils_cpu() has not
// been called.
std::size_t how_many_cpus();
