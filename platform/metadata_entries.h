// What the two handles of the metadata library are made of. For the library's own sources only.
#pragma once

#include <string>
#include <utility>
#include <vector>

struct metadata_v4_context {
  std::string directory;  // the metadata directory, "" without a location
};

struct metadata_v4_metadata_context {
  std::vector<std::pair<std::string, std::string>> list;  // name and value, in order
};

// Sets an entry; one that exists keeps its place.
inline void set_metadata_entry(metadata_v4_metadata_context& entries, std::string const& name,
                               std::string const& value) {
  for (auto& [entry_name, entry_value] : entries.list) {
    if (entry_name == name) {
      entry_value = value;
      return;
    }
  }
  entries.list.emplace_back(name, value);
}
