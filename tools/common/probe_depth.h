// How far an engine looks into a file to find out what its streams are.
#pragma once

#include <cstdint>

struct probe_depth {
  std::int64_t bytes = 10'000'000;
  int seconds = 10;
};
