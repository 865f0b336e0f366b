// Texts compared by their beginnings and ends, and lines of text taken apart in place.
#pragma once

#include <string>
#include <string_view>

constexpr bool begins_with(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

constexpr bool ends_with(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

// The text with the letters A to Z in lower case and all other bytes as they are, whatever the
// locale.
std::string lower_case(std::string text);

// The functions below allocate nothing; the pointers that they set stay inside the line.

// Cuts every line feed and carriage return off the end and returns `text`.
char* chomp(char* text);

// Divides "name=value" at its first "=", blanks and all. Both are null when there is no "=" or the
// name is empty. The line is cut at the "=".
void divide_name_equ_value_pair(char* line, char** name, char** value);

// The lenient form: blanks (space, tab) around name and value are dropped, and a line that is blank
// or a comment ("#" or ";" first) is no pair either. An empty value is "", not null.
void divide_name_equ_value_pair_loose(char* line, char** name, char** value);
