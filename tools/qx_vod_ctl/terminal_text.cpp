// Texts of unknown origin on a terminal.
#include "tools/qx_vod_ctl/terminal_text.h"

#include <algorithm>
#include <cstdio>

namespace {

unsigned char byte_at(std::string_view text, std::size_t index) {
  return static_cast<unsigned char>(text[index]);
}

bool is_continuation(unsigned char byte) {
  return (byte & 0xC0) == 0x80;
}

// What the second byte must be for the character to be written in its one right way and to lie
// within Unicode; 0x80 to 0x9F behind C2 are the second set of control characters.
bool second_byte_fits(unsigned char first, unsigned char second) {
  switch (first) {
  case 0xC2:
  case 0xE0:
    return second >= 0xA0;
  case 0xED:
    return second < 0xA0;
  case 0xF0:
    return second >= 0x90;
  case 0xF4:
    return second < 0x90;
  default:
    return true;
  }
}

std::size_t length_by_first_byte(unsigned char first) {
  if (first >= 0x20 && first < 0x7F) return 1;
  if (first >= 0xC2 && first < 0xE0) return 2;
  if (first >= 0xE0 && first < 0xF0) return 3;
  return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

// The bytes of the character in front that may be shown as it is; 0 where there is none.
std::size_t character_length(std::string_view text) {
  const std::size_t length = length_by_first_byte(byte_at(text, 0));
  if (length > text.size()) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if (!is_continuation(byte_at(text, i))) return 0;
  }
  return length < 2 || second_byte_fits(byte_at(text, 0), byte_at(text, 1)) ? length : 0;
}

std::string escaped(unsigned char byte) {
  if (byte == '\n') return "\\n";
  char hexadecimal[5];
  std::snprintf(hexadecimal, sizeof hexadecimal, "\\x%02x", static_cast<unsigned>(byte));
  return hexadecimal;
}

}  // namespace

std::string printable(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const std::size_t length = character_length(text);
    if (length > 0) {
      shown += text.substr(0, length);
    } else {
      shown += escaped(byte_at(text, 0));
    }
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return shown;
}

std::size_t columns(std::string_view text) {
  const auto starts_character = [](char c) {
    return !is_continuation(static_cast<unsigned char>(c));
  };
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), starts_character));
}
