// Judges a source before it is added, by the service's own rules (rules/source_rules.h) and in its
// order.
#pragma once

#include <string>
#include <utility>
#include <vector>

struct refusal {
  std::string text;      // the service's; empty when there is none
  bool missing = false;  // there is no such file
  bool unknown = false;  // this user cannot find out: `text` is not from the service
};

// Judges the path and the file, by name alone: nothing is opened that could block.
refusal judge_source(const std::string& path);

// The part of the source's metadata that the service uses.
struct stored_metadata {
  bool readable = true;  // false if they exist but cannot be read
  std::vector<std::pair<std::string, std::string>> entries;  // empty if there are none

  // The entry's value, empty when there is none.
  std::string entry(const std::string& name) const;
};

stored_metadata read_stored_metadata(const std::string& path);
