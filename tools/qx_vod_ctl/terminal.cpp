#include "tools/qx_vod_ctl/terminal.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include <sys/ioctl.h>
#include <unistd.h>

namespace {

std::string_view environment(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

// The first of the three that is set decides, as in the C library.
std::string_view character_set() {
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    if (const auto value = environment(name); !value.empty()) { return value; }
  }
  return "";
}

}  // namespace

bool can_ask() {
  return isatty(STDIN_FILENO) != 0 && isatty(STDERR_FILENO) != 0;
}

bool output_is_terminal() {
  return isatty(STDOUT_FILENO) != 0;
}

screen_size terminal_size() {
  winsize size{};
  screen_size result;
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) { return result; }
  if (size.ws_row > 0) { result.rows = size.ws_row; }
  if (size.ws_col > 0) { result.columns = size.ws_col; }
  return result;
}

bool colour_is_wanted(const std::string& choice) {
  if (choice != "auto") { return choice == "always"; }
  return output_is_terminal() && environment("NO_COLOR").empty() && environment("TERM") != "dumb" &&
         !environment("TERM").empty();
}

bool locale_is_unicode() {
  const auto set = character_set();
  const auto names = {"UTF-8", "utf-8", "UTF8", "utf8"};
  return std::any_of(names.begin(), names.end(),
                     [&](const char* name) { return set.find(name) != std::string_view::npos; });
}
