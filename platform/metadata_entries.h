// The metadata library's two handle types and the text form of entries. For its own sources only.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

struct metadata_v4_context {
  std::string directory;  // the metadata directory; empty if no location is set
};

// One `name=value` line per entry. In a value, a backslash, a line feed and a carriage return are
// written `\\`, `\n` and `\r`; a backslash before any other character is literal.
struct metadata_v4_metadata_context {
  std::vector<std::pair<std::string, std::string>> entries;
  // Maps each name to its index in `entries`: a file may have too many entries for linear searches.
  std::unordered_map<std::string, std::size_t> places;

  // Adds an entry, or replaces the value of an existing one, which keeps its position.
  void set(const std::string& name, std::string value);
  // Adds the entries in a file's text. Returns false if a line is not a valid entry.
  bool parse(std::string_view text);
  std::string text() const;
};
