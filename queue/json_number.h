// Integers from JSON numbers of any size; the documents come from files and other servers.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include <json11.hpp>

// Truncates a number to its integer part and clamps it to 32 bits.
inline std::int32_t to_int32(double number) {
  using limits = std::numeric_limits<std::int32_t>;
  if (std::isnan(number)) { return 0; }
  if (number <= limits::min()) { return limits::min(); }
  return number >= limits::max() ? limits::max() : static_cast<std::int32_t>(number);
}

// The integer value of a JSON number; 0 for any other JSON value.
inline std::int32_t json_int(const json11::Json& json) {
  return to_int32(json.number_value());
}
