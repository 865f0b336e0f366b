// The service's rules for sources, told before anything is added: in its order, with its texts. Its
// own rules stand in exec/readiness.cpp, exec/ready_steps.cpp and exec/termination.cpp; a test runs
// the service against these.
#pragma once

#include <string>
#include <vector>

struct refusal {
  std::string text;      // the service's; empty when there is none
  bool missing = false;  // there is no such file
  bool unknown = false;  // it cannot be told by this user: `text` is no text of the service
};

// Judges the path and what stands there, by name alone: nothing is opened that could block.
refusal judge_source(const std::string& path);

// Whether something of that MIME type is transcoded.
bool is_transcodeable(const std::string& file_type);

// What the source's metadata say, as far as the service asks.
struct stored_metadata {
  bool readable = true;  // false where they are there but cannot be read
  bool offline = false;
  std::vector<std::pair<std::string, std::string>> entries;  // empty where there are none

  // The entry's value, empty when there is none.
  std::string entry(const std::string& name) const;
};

stored_metadata read_stored_metadata(const std::string& path);

// Whether an output can be named after profile and source.
bool output_can_be_named(const std::string& path, const std::string& profile);

// The output's path for a moment given in microseconds since 1970.
std::string output_path(const std::string& path, const std::string& profile,
                        const std::string& moment);

// What an operator can do about a refusal; empty where there is nothing to say.
std::string advice_for(const std::string& text);
