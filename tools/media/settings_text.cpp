#include "tools/media/settings_text.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace {

constexpr std::size_t longest_shown = 60;  // of a name or value in a warning

std::string_view without_blanks(std::string_view text) {
  constexpr std::string_view blanks = " \t\r";
  const std::size_t begin = text.find_first_not_of(blanks);
  if (begin == std::string_view::npos) { return {}; }
  return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

std::string quoted(std::string_view text) {
  return '"' + std::string(text.substr(0, longest_shown)) + '"';
}

std::string listed(const std::vector<std::string>& choices) {
  std::string text;
  for (const std::string& choice : choices) {
    text += (text.empty() ? "" : " or ") + choice;
  }
  return text;
}

bool is_name(std::string_view text) {
  constexpr std::size_t longest_name = 255;
  constexpr std::string_view allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                       "0123456789._-";
  return text.size() <= longest_name && text.find_first_not_of(allowed) == std::string_view::npos;
}

bool read_number(std::string_view text, int& number) {
  const char* const end = text.data() + text.size();
  const auto [stopped, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stopped == end;
}

}  // namespace

void settings_text::add_switch(const char* name, bool& target) {
  settings_.push_back({name, [&target](std::string_view value) -> std::string {
                         if (value != "yes" && value != "no") { return "yes or no"; }
                         target = value == "yes";
                         return {};
                       }});
}

void settings_text::add_number(const char* name, int& target, int least, int most) {
  settings_.push_back({name, [&target, least, most](std::string_view value) -> std::string {
                         int number = 0;
                         if (!read_number(value, number) || number < least || number > most) {
                           return "a whole number from " + std::to_string(least) + " to " +
                                  std::to_string(most);
                         }
                         target = number;
                         return {};
                       }});
}

void settings_text::add_choice(const char* name, std::string& target,
                               std::vector<std::string> choices) {
  settings_.push_back(
      {name, [&target, choices = std::move(choices)](std::string_view value) -> std::string {
         if (std::find(choices.begin(), choices.end(), value) == choices.end()) {
           return listed(choices);
         }
         target = value;
         return {};
       }});
}

void settings_text::add_name(const char* name, std::string& target) {
  settings_.push_back({name, [&target](std::string_view value) -> std::string {
                         if (!is_name(value)) {
                           return "a name of letters, digits, \".\", \"_\" and \"-\"";
                         }
                         target = value;
                         return {};
                       }});
}

void settings_text::add_text(const char* name, std::string& target) {
  settings_.push_back({name, [&target](std::string_view value) -> std::string {
                         target = value;
                         return {};
                       }});
}

const settings_text::setting* settings_text::find(std::string_view name) const {
  const auto found = std::find_if(settings_.begin(), settings_.end(),
                                  [name](const setting& one) { return one.name == name; });
  return found == settings_.end() ? nullptr : &*found;
}

// Returns the cause if the line is wrong, or nothing.
std::string settings_text::read_line(std::string_view line,
                                     std::vector<std::string>& unknown) const {
  if (line.empty() || line[0] == '#') { return {}; }
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos) { return "is not of the form name=value"; }
  const std::string_view name = without_blanks(line.substr(0, equals));
  const setting* const found = find(name);
  if (found == nullptr) {
    if (std::find(unknown.begin(), unknown.end(), name) != unknown.end()) { return {}; }
    unknown.emplace_back(name);
    return "unknown setting " + quoted(name);
  }
  const std::string_view value = without_blanks(line.substr(equals + 1));
  const std::string wanted = found->take(value);
  return wanted.empty() ? wanted
                        : std::string(name) + " must be " + wanted + ", not " + quoted(value);
}

std::vector<std::string> settings_text::read(std::string_view text) const {
  std::vector<std::string> warnings;
  std::vector<std::string> unknown;
  for (int number = 1; !text.empty(); ++number) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string cause = read_line(without_blanks(text.substr(0, end)), unknown);
    if (!cause.empty()) { warnings.push_back("line " + std::to_string(number) + ": " + cause); }
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return warnings;
}
