#include "platform/formatted.h"

#include <cstdarg>
#include <cstdio>

std::string formatted(const char* format, ...) {
  va_list values;
  va_start(values, format);
  va_list again;
  va_copy(again, values);
  const int length = std::vsnprintf(nullptr, 0, format, values);
  std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
  if (length > 0) { std::vsnprintf(text.data(), text.size() + 1, format, again); }
  va_end(again);
  va_end(values);
  return text;
}
