// Reads and writes the text form of metadata entries.
#include <algorithm>

#include "platform/metadata_entries.h"

namespace {

std::string escaped(std::string_view value) {
  std::string text;
  for (const char c : value) {
    switch (c) {
    case '\\':
      text += "\\\\";
      break;
    case '\n':
      text += "\\n";
      break;
    case '\r':
      text += "\\r";
      break;
    default:
      text += c;
    }
  }
  return text;
}

std::string unescaped(std::string_view text) {
  constexpr std::string_view letters = "\\nr";
  constexpr std::string_view meanings = "\\\n\r";
  std::string value;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool may_escape = text[i] == '\\' && i + 1 < text.size();
    const std::size_t letter = may_escape ? letters.find(text[i + 1]) : std::string_view::npos;
    if (letter == std::string_view::npos) {
      value += text[i];
    } else {
      value += meanings[letter];
      ++i;
    }
  }
  return value;
}

}  // namespace

void metadata_v4_metadata_context::set(const std::string& name, std::string value) {
  const auto [place, is_new] = places.try_emplace(name, entries.size());
  if (is_new) {
    entries.emplace_back(name, std::move(value));
  } else {
    entries[place->second].second = std::move(value);
  }
}

// Values are read as C strings, which a NUL byte would cut short, so a line with one is not a valid
// entry.
bool metadata_v4_metadata_context::parse(std::string_view text) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    const std::size_t equals = line.find('=');
    if (equals == 0 || equals == std::string_view::npos ||
        line.find('\0') != std::string_view::npos) {
      return false;
    }
    set(std::string(line.substr(0, equals)), unescaped(line.substr(equals + 1)));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return true;
}

std::string metadata_v4_metadata_context::text() const {
  std::string text;
  for (const auto& [name, value] : entries) {
    text.append(name).append("=").append(escaped(value)).append("\n");
  }
  return text;
}
