// Small helpers for lines of text.
#include "platform/text.h"

#include <cstring>

namespace {

bool is_blank(char c) {
  return c == ' ' || c == '\t';
}

char* skip_blanks(char* text) {
  while (is_blank(*text)) {
    ++text;
  }
  return text;
}

// Ends the text behind its last character that is no blank.
void trim_end(char* begin, char* end) {
  while (end > begin && is_blank(end[-1])) {
    --end;
  }
  *end = '\0';
}

}  // namespace

char* chomp(char* text) {
  std::size_t length = strlen(text);
  while (length > 0 && (text[length - 1] == '\n' || text[length - 1] == '\r')) {
    text[--length] = '\0';
  }
  return text;
}

void divide_name_equ_value_pair(char* line, char** name, char** value) {
  *name = nullptr;
  *value = nullptr;
  char* const equals = strchr(line, '=');
  if (equals == nullptr || equals == line) {
    return;
  }
  *equals = '\0';
  *name = line;
  *value = equals + 1;
}

void divide_name_equ_value_pair_loose(char* line, char** name, char** value) {
  *name = nullptr;
  *value = nullptr;
  char* const begin = skip_blanks(line);
  char* const equals = strchr(begin, '=');
  if (*begin == '#' || *begin == ';' || equals == nullptr || equals == begin) {
    return;
  }
  trim_end(begin, equals);
  *name = begin;
  *value = skip_blanks(equals + 1);
  trim_end(*value, *value + strlen(*value));
}
