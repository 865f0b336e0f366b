#include "platform/text.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr char blanks[] = " \t";
constexpr char line_ends[] = "\r\n";

// Removes all trailing characters that occur in `characters`.
void cut_end(char* text, const char* characters) {
  std::size_t length = strlen(text);
  while (length > 0 && strchr(characters, text[length - 1]) != nullptr) {
    --length;
  }
  text[length] = '\0';
}

}  // namespace

std::string lower_case(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return text;
}

char* chomp(char* text) {
  cut_end(text, line_ends);
  return text;
}

void divide_name_equ_value_pair(char* line, char** name, char** value) {
  *name = nullptr;
  *value = nullptr;
  char* const equals = strchr(line, '=');
  if (equals == nullptr || equals == line) { return; }
  *equals = '\0';
  *name = line;
  *value = equals + 1;
}

void divide_name_equ_value_pair_loose(char* line, char** name, char** value) {
  *name = nullptr;
  *value = nullptr;
  char* const begin = line + strspn(line, blanks);
  if (*begin == '#' || *begin == ';') { return; }
  divide_name_equ_value_pair(begin, name, value);
  if (*name == nullptr) { return; }
  cut_end(*name, blanks);
  *value += strspn(*value, blanks);
  cut_end(*value, blanks);
}
