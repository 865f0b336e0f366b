// Compares the beginnings and ends of texts, and splits lines of text in place.
#pragma once

#include <string>
#include <string_view>

constexpr bool begins_with(std::string_view text, std::string_view prefix) {
  return text.substr(0, prefix.size()) == prefix;
}

constexpr bool ends_with(std::string_view text, std::string_view suffix) {
  return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

// Returns the text with the letters A to Z in lower case and all other bytes unchanged, whatever
// the locale.
std::string lower_case(std::string text);

// The functions below allocate nothing; the pointers that they set point into the line.

// Removes all trailing line feeds and carriage returns and returns `text`.
char* chomp(char* text);

// Splits "name=value" at the first "=", keeping all blanks. Sets both pointers to null if there is
// no "=" or the name is empty. Overwrites the "=" with a NUL byte.
void divide_name_equ_value_pair(char* line, char** name, char** value);

// The lenient form: blanks (space, tab) around name and value are dropped, and both pointers are
// also set to null if the line is blank or a comment (starting with "#" or ";"). An empty value is
// "", not null.
void divide_name_equ_value_pair_loose(char* line, char** name, char** value);
