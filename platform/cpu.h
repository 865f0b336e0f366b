// The processors that this process may use.
#pragma once

#include <cstddef>

// Counts the processors; call it once when the process starts.
void init_tarn_utils_cpu();

// The processors counted then, at least 1. Counts them itself when nobody has.
std::size_t how_many_cpus();
