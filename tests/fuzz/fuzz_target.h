// What each fuzz target provides, and what it checks with.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

// Feeds the bytes to the code under test. The name is libFuzzer's.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

// Inputs to start from: valid ones, and some that are nearly valid.
std::vector<std::string> fuzz_seeds();

// Ends the process when a condition that holds for all inputs is broken.
inline void fuzz_expect(bool holds, const char* condition) {
  if (holds) { return; }
  std::fprintf(stderr, "fuzz: expected: %s\n", condition);
  std::abort();
}
