// Properties of the terminal on standard output.
#pragma once

#include <cstddef>
#include <string>

struct screen_size {
  std::size_t rows = 24;
  std::size_t columns = 80;
};

// Whether standard input and standard error are terminals, so that a question can be put.
bool can_ask();

bool output_is_terminal();

// The size of the terminal on standard output, or the defaults if it is unknown.
screen_size terminal_size();

// `choice` is "always", "never", or "auto": on a terminal that is not dumb, unless NO_COLOR is set
// to anything.
bool colour_is_wanted(const std::string& choice);

// Whether the user's locale has the characters that bars are drawn with.
bool locale_is_unicode();
