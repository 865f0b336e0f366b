// Translates queries and bodies. Everything here comes from strangers.
#include "tools/vod_cgi/control_request.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "platform/text.h"
#include "rules/control_words.h"
#include "rules/json_keys.h"

namespace {

// The commands that other machines may send; "test" and later additions are not allowed.
constexpr std::string_view allowed_commands[] = {command_add,    command_list,   command_ready,
                                                 command_modify, command_cancel, command_restart,
                                                 command_pause,  command_resume, command_remove};

bool is_control(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < 0x20 || byte == 0x7f;
}

// 8-4-4-4-12 hexadecimal digits, lower case as they are made.
bool is_uuid(std::string_view text) {
  constexpr std::string_view form = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
  return text.size() == form.size() &&
         std::equal(text.begin(), text.end(), form.begin(), [](char c, char f) {
           return f == '-' ? c == '-' : (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
         });
}

// Takes one field off a query. A name given twice makes the query unclear, so it counts as none.
bool take_field(std::string_view field, std::string_view name, std::string_view& value,
                bool& seen) {
  if (field.size() <= name.size() || field.substr(0, name.size()) != name ||
      field[name.size()] != '=') {
    return false;
  }
  value = seen ? std::string_view() : field.substr(name.size() + 1);
  seen = true;
  return true;
}

bool add_line(std::string_view line, name_values& pairs, std::string& error) {
  const std::size_t colon = line.find(':');
  if (colon == 0 || colon == std::string_view::npos) {
    error = "a line is not name:value";
    return false;
  }
  if (std::any_of(line.begin(), line.end(), is_control)) {
    error = "a line holds a control character";
    return false;
  }
  const std::string_view name = line.substr(0, colon);
  const std::string_view value = line.substr(colon + 1);
  if (name != key_upload_name) {
    pairs.emplace_back(name, value);
    return true;
  }
  if (!is_uuid(value)) {
    error = "*name is not the name of an upload";
    return false;
  }
  pairs.emplace_back(key_input_file, upload_directory + std::string(value));
  return true;
}

}  // namespace

std::string command_of_query(const std::string& query) {
  std::string_view gateway_word;
  std::string_view command;
  bool seen_gateway_word = false;
  bool seen_command = false;
  std::string_view rest = query;
  while (!rest.empty()) {
    const std::string_view field = rest.substr(0, rest.find('&'));
    rest.remove_prefix(std::min(field.size() + 1, rest.size()));
    if (!take_field(field, "c", gateway_word, seen_gateway_word)) {
      take_field(field, "vc", command, seen_command);
    }
  }
  const bool allowed = gateway_word == "vodsrv" &&
                       std::find(std::begin(allowed_commands), std::end(allowed_commands),
                                 command) != std::end(allowed_commands);
  return allowed ? std::string(command) : "";
}

bool read_pairs(const std::string& body, name_values& pairs, std::string& error) {
  pairs.clear();
  std::string_view rest = body;
  while (!rest.empty()) {
    std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    if (!line.empty() && line.back() == '\r') { line.remove_suffix(1); }
    if (line.empty()) { break; }
    if (!add_line(line, pairs, error)) { return false; }
  }
  return true;
}

std::string uploaded_file(const name_values& pairs) {
  for (const auto& [name, value] : pairs) {
    if (name == key_input_file && begins_with(value, upload_directory)) { return value; }
  }
  return "";
}
