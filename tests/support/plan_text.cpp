#include "tests/support/plan_text.h"

#include <cstdio>
#include <sstream>

namespace qx_test {

namespace {

std::string decode(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      bytes += text[i];
      continue;
    }
    bytes += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
    i += 2;
  }
  return bytes;
}

}  // namespace

std::string encode_plan_argument(std::string_view bytes) {
  std::string text = " =";
  for (const char byte : bytes) {
    if (byte > ' ' && byte < '\x7f' && byte != '%') {
      text += byte;
      continue;
    }
    char code[4];
    std::snprintf(code, sizeof code, "%%%02x", static_cast<unsigned char>(byte));
    text += code;
  }
  return text;
}

std::vector<std::string> decode_plan_line(const std::string& line) {
  std::istringstream stream(line);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) {
    words.push_back(words.empty() ? word : decode(std::string_view(word).substr(1)));
  }
  return words;
}

}  // namespace qx_test
