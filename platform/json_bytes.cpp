#include "platform/json_bytes.h"

#include <algorithm>
#include <cctype>

namespace {

constexpr std::size_t escape_size = 6;  // "\udc80"

bool is_continuation(unsigned char byte) {
  return (byte & 0xc0U) == 0x80;
}

std::size_t announced_length(unsigned char first) {
  if (first < 0x80) { return 1; }
  if (first >= 0xc2 && first <= 0xdf) { return 2; }
  if (first >= 0xe0 && first <= 0xef) { return 3; }
  return first >= 0xf0 && first <= 0xf4 ? 4 : 0;
}

// Longer than necessary, half of a surrogate pair, or beyond the last character.
bool is_excluded(unsigned char first, unsigned char second) {
  return (first == 0xe0 && second < 0xa0) || (first == 0xed && second > 0x9f) ||
         (first == 0xf0 && second < 0x90) || (first == 0xf4 && second > 0x8f);
}

// The position of the first byte that has to be escaped, or npos.
std::size_t find_odd_byte(std::string_view text, std::size_t at) {
  while (at < text.size()) {
    const std::size_t length = utf8_length(text.substr(at));
    if (length == 0) { return at; }
    at += length;
  }
  return std::string_view::npos;
}

void append_escaped(std::string& text, unsigned char byte) {
  constexpr const char* digits = "0123456789abcdef";
  text += "\\udc";
  text += digits[byte >> 4U];
  text += digits[byte & 0xfU];
}

// Whether an escape of one of the bytes begins here, in any case of its letters.
bool is_byte_escape(std::string_view text) {
  if (text.size() < escape_size || text[1] != 'u') { return false; }
  const auto lower = [&](std::size_t i) {
    return std::tolower(static_cast<unsigned char>(text[i]));
  };
  return lower(2) == 'd' && lower(3) == 'c' &&
         std::string_view("89abcdef").find(static_cast<char>(lower(4))) != std::string_view::npos &&
         std::isxdigit(static_cast<unsigned char>(text[5])) != 0;
}

// Whether the escape of the first half of a surrogate pair begins here.
bool is_first_half(std::string_view text) {
  return text.size() >= escape_size && text[1] == 'u' && (text[2] == 'd' || text[2] == 'D') &&
         std::string_view("89abAB").find(text[3]) != std::string_view::npos;
}

// Whether the escape of the second half begins here.
bool is_second_half(std::string_view text) {
  return text.size() >= escape_size && text[1] == 'u' && (text[2] == 'd' || text[2] == 'D') &&
         std::string_view("cdefCDEF").find(text[3]) != std::string_view::npos;
}

unsigned digit(char c) {
  return static_cast<unsigned>(c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10);
}

char byte_of(std::string_view escape) {
  return static_cast<char>(digit(escape[4]) << 4U | digit(escape[5]));
}

}  // namespace

std::size_t utf8_length(std::string_view text) {
  if (text.empty()) { return 0; }
  const auto first = static_cast<unsigned char>(text[0]);
  const std::size_t length = announced_length(first);
  if (length > text.size()) { return 0; }
  for (std::size_t i = 1; i < length; ++i) {
    if (!is_continuation(static_cast<unsigned char>(text[i]))) { return 0; }
  }
  if (length > 1 && is_excluded(first, static_cast<unsigned char>(text[1]))) { return 0; }
  return length;
}

void escape_bytes(std::string& json) {
  std::size_t odd = find_odd_byte(json, 0);
  if (odd == std::string::npos) { return; }
  std::string escaped;
  std::size_t copied = 0;
  for (; odd != std::string::npos; odd = find_odd_byte(json, copied)) {
    escaped.append(json, copied, odd - copied);
    append_escaped(escaped, static_cast<unsigned char>(json[odd]));
    copied = odd + 1;
  }
  escaped.append(json, copied);
  json = std::move(escaped);
}

std::string unescape_bytes(const std::string& json) {
  const std::string_view text = json;
  std::string bytes;
  std::size_t copied = 0;
  std::size_t at = text.find('\\');
  while (at < text.size()) {
    const std::string_view rest = text.substr(at);
    if (is_first_half(rest)) {
      at += escape_size;
      if (at < text.size() && is_second_half(text.substr(at))) { at += escape_size; }
    } else if (is_byte_escape(rest)) {
      bytes += text.substr(copied, at - copied);
      bytes += byte_of(rest);
      at += escape_size;
      copied = at;
    } else {
      at += 2;
    }
    at = text.find('\\', at);
  }
  bytes += text.substr(std::min(copied, text.size()));
  return bytes;
}
