#include "tools/media/size_text.h"

#include <cstdio>
#include <iterator>

std::string size_text(std::uint64_t bytes) {
  const char* const units[] = {"B", "kB", "MB", "GB", "TB", "PB"};
  double value = static_cast<double>(bytes);
  std::size_t unit = 0;
  while (value >= 999.95 && unit + 1 < std::size(units)) {
    value /= 1000;
    ++unit;
  }
  char text[40];
  std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", value, units[unit]);
  return text;
}
