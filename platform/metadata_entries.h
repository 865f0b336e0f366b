// The metadata library's two handles and the text form of entries. For its own sources only.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

struct metadata_v4_context {
  std::string directory;  // the metadata directory; empty without a location
};

// One `name=value` line per entry. In a value a backslash, a line feed and a carriage return are
// written `\\`, `\n`, `\r`; a backslash before anything else stands for itself.
struct metadata_v4_metadata_context {
  std::vector<std::pair<std::string, std::string>> entries;
  // Where in `entries` a name stands: a file may hold more of them than a search each can stand.
  std::unordered_map<std::string, std::size_t> places;

  // One that exists keeps its place.
  void set(const std::string& name, std::string value);
  // Adds the entries of a file. False when a line of it is no entry.
  bool parse(std::string_view text);
  std::string text() const;
};
