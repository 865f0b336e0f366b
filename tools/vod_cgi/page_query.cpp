// Takes queries apart.
#include "tools/vod_cgi/page_query.h"

#include <algorithm>
#include <map>

namespace {

using query_fields = std::map<std::string, std::string, std::less<>>;

constexpr std::size_t longest_search = 200;
constexpr int largest_index = 1000000;

int hex_digit(char c) {
  if (c >= '0' && c <= '9') { return c - '0'; }
  if (c >= 'A' && c <= 'F') { return c - 'A' + 10; }
  return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
}

// False for a percent sign that is not followed by two digits, and for control characters, encoded
// or not.
bool decode(std::string_view text, std::string& decoded) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    int c = text[i] == '+' ? ' ' : static_cast<unsigned char>(text[i]);
    if (text[i] == '%') {
      const int high = i + 2 < text.size() ? hex_digit(text[i + 1]) : -1;
      const int low = i + 2 < text.size() ? hex_digit(text[i + 2]) : -1;
      c = high < 0 || low < 0 ? 0 : high * 16 + low;
      i += 2;
    }
    if (c < 0x20 || c == 0x7f) { return false; }
    decoded += static_cast<char>(c);
  }
  return true;
}

bool read_fields(std::string_view query, query_fields& fields) {
  while (!query.empty()) {
    const std::string_view field = query.substr(0, query.find('&'));
    query.remove_prefix(std::min(field.size() + 1, query.size()));
    const std::size_t equals = std::min(field.find('='), field.size());
    std::string name;
    std::string value;
    if (equals == field.size() || !decode(field.substr(0, equals), name) ||
        !decode(field.substr(equals + 1), value) || !fields.emplace(name, value).second) {
      return false;
    }
  }
  return true;
}

bool read_index(const std::string& text, int least, int most, int& number) {
  if (text.empty() || text.size() > 7 || text.find_first_not_of("0123456789") != text.npos) {
    return false;
  }
  number = std::stoi(text);
  return number >= least && number <= most;
}

bool take_field(const std::string& name, const std::string& value, queue_query& wanted) {
  if (name == "first") { return read_index(value, 0, largest_index, wanted.first); }
  if (name == "count") { return read_index(value, 1, most_shown, wanted.count); }
  if (name == "show") { wanted.show = value; }
  if (name == "state") { wanted.state = value; }
  if (name == "search") { wanted.search = value; }
  return name == "c" || name == "show" || name == "state" ||
         (name == "search" && value.size() <= longest_search);
}

}  // namespace

std::string gateway_word(std::string_view query) {
  std::string word;
  int seen = 0;
  while (!query.empty()) {
    const std::string_view field = query.substr(0, query.find('&'));
    query.remove_prefix(std::min(field.size() + 1, query.size()));
    if (field.substr(0, 2) == "c=") {
      word = field.substr(2);
      ++seen;
    }
  }
  return seen == 1 ? word : "";
}

bool read_queue_query(std::string_view query, queue_query& wanted, std::string& error) {
  query_fields fields;
  if (!read_fields(query, fields)) {
    error = "the query cannot be read";
    return false;
  }
  for (const auto& [name, value] : fields) {
    if (!take_field(name, value, wanted)) {
      error = "the query's field \"" + name + "\" is unknown or out of range";
      return false;
    }
  }
  return true;
}

std::string read_command_query(std::string_view query) {
  query_fields fields;
  const bool is_command =
      read_fields(query, fields) && fields.size() == 2 && fields["c"] == "command";
  return is_command ? fields["vc"] : "";
}
