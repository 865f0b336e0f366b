#include "tools/job_log/one_line.h"

#include <cstdio>

std::string on_one_line(std::string_view text) {
  std::string line;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (character == '\n') {
      line += "\\n";
    } else if (byte < 0x20 || byte == 0x7f) {
      char hexadecimal[5];
      std::snprintf(hexadecimal, sizeof hexadecimal, "\\x%02x", static_cast<unsigned>(byte));
      line += hexadecimal;
    } else {
      line += character;
    }
  }
  return line;
}
