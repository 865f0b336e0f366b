// The configuration file as written by a person: how the service interprets each line, and which
// lines look like mistakes.
#pragma once

#include <string>
#include <vector>

#include "tools/qx_vod_ctl/doctor/finding.h"
#include "tools/qx_vod_ctl/text_file.h"

struct configuration_pair {
  int line = 0;  // counted from 1
  std::string name;
  std::string value;
  bool known = false;  // a key of the service
  bool whole = true;   // false for a piece of a line that is too long, which may be anything
};

struct configuration {
  std::vector<configuration_pair> pairs;  // in the order of the file
  std::vector<int> no_pairs;              // lines that are neither pair nor comment nor blank
  std::vector<int> too_long;              // lines that the service reads in pieces
  bool has_nul = false;                   // the rest of a line after such a byte is ignored

  // The last value of a key; null when it is not given.
  const std::string* value(const std::string& name) const;
};

// Whether the service knows the key.
bool is_known_key(const std::string& name);

// Reads the text as the service does.
configuration read_configuration(const std::string& text);

// Reads "/mnt/main/tv/vod.conf", at most 4 MiB of it.
text_file read_configuration_file();

// Judges the file and what stands in it. No finding holds a value of the password, the name or an
// unknown key.
finding_list check_configuration(const text_file& file);

// An address that is safe to show: it may be preceded by a user name and password.
std::string shown_address(const std::string& address);

// The text with the values of user, password and unknown keys masked; malformed lines are masked
// completely, comments kept. Safe to show to others.
std::string masked_configuration(const std::string& text);
