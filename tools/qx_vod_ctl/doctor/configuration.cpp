#include "tools/qx_vod_ctl/doctor/configuration.h"

#include <algorithm>

#include "platform/paths.h"
#include "platform/text.h"
#include "platform/transcode_settings.h"
#include "tools/client/secret_mask.h"

namespace {

// The service reads longer lines in pieces of this many bytes.
constexpr std::size_t piece_size = 1022;
constexpr std::size_t size_limit = std::size_t{4} << 20;

constexpr const char* known_keys[] = {setting_max_profile, setting_fullspeed, setting_address,
                                      setting_user, setting_password};

constexpr const char* shown_keys[] = {setting_max_profile, setting_fullspeed};

template <typename Keys>
bool is_one_of(const Keys& keys, const std::string& name) {
  return std::find(std::begin(keys), std::end(keys), name) != std::end(keys);
}

bool is_blank_or_comment(const std::string& piece) {
  const auto first = piece.find_first_not_of(" \t\r\n");
  return first == std::string::npos || piece[first] == '#' || piece[first] == ';';
}

void read_piece(std::string piece, int line, bool whole, configuration& result) {
  const bool is_nothing = is_blank_or_comment(piece.substr(0, piece.find('\0')));
  char* name = nullptr;
  char* value = nullptr;
  divide_name_equ_value_pair_loose(chomp(piece.data()), &name, &value);
  if (name != nullptr && value != nullptr) {
    result.pairs.push_back({line, name, value, is_known_key(name), whole});
  } else if (whole && !is_nothing) {
    result.no_pairs.push_back(line);
  }
}

// Calls `take` with each line, its line feed included.
template <typename Take>
void for_each_line(const std::string& text, Take take) {
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t feed = text.find('\n', begin);
    const std::size_t end = feed == std::string::npos ? text.size() : feed + 1;
    take(text.substr(begin, end - begin));
    begin = end;
  }
}

std::string shown_value(const configuration_pair& pair) {
  if (pair.name == setting_address) { return shown_address(pair.value); }
  return is_one_of(shown_keys, pair.name) ? pair.value : masked_text;
}

std::string masked_line(const std::string& line) {
  if (line.size() > piece_size) { return std::string(masked_text) + "\n"; }
  configuration parsed;
  read_piece(line, 1, true, parsed);
  if (!parsed.no_pairs.empty()) { return std::string(masked_text) + "\n"; }
  if (parsed.pairs.empty()) { return line.back() == '\n' ? line : line + "\n"; }
  const configuration_pair& pair = parsed.pairs.front();
  return pair.name + " = " + shown_value(pair) + "\n";
}

}  // namespace

const std::string* configuration::value(const std::string& name) const {
  const auto found =
      std::find_if(pairs.rbegin(), pairs.rend(),
                   [&](const configuration_pair& pair) { return pair.name == name; });
  return found == pairs.rend() ? nullptr : &found->value;
}

bool is_known_key(const std::string& name) {
  return is_one_of(known_keys, name);
}

configuration read_configuration(const std::string& text) {
  configuration result;
  result.has_nul = text.find('\0') != std::string::npos;
  int number = 0;
  for_each_line(text, [&](const std::string& line) {
    ++number;
    const bool whole = line.size() <= piece_size;
    if (!whole) { result.too_long.push_back(number); }
    for (std::size_t at = 0; at < line.size(); at += piece_size) {
      read_piece(line.substr(at, piece_size), number, whole, result);
    }
  });
  return result;
}

text_file read_configuration_file() {
  return read_text_file(path_vod_conf, size_limit);
}

std::string shown_address(const std::string& address) {
  const std::size_t at = address.rfind('@');
  return at == std::string::npos ? address : masked_text + address.substr(at);
}

std::string masked_configuration(const std::string& text) {
  std::string result;
  for_each_line(text, [&](const std::string& line) { result += masked_line(line); });
  return result;
}
