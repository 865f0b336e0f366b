#include "tools/client/secret_mask.h"

#include <algorithm>
#include <string_view>

#include "rules/json_keys.h"

namespace {

// The tools' options that are followed by a name and a password, or by either.
constexpr std::string_view credential_options[] = {"--user", "--password"};

bool is_credential_option(const std::string& argument) {
  return std::find(std::begin(credential_options), std::end(credential_options), argument) !=
         std::end(credential_options);
}

// "--user=NAME" without the name; any other argument unchanged.
std::string without_credential(const std::string& argument) {
  const auto equals = argument.find('=');
  if (equals == std::string::npos || !is_credential_option(argument.substr(0, equals))) {
    return argument;
  }
  return argument.substr(0, equals + 1) + masked_text;
}

}  // namespace

secret_mask::secret_mask(const std::vector<std::string>& secrets) {
  for (const auto& secret : secrets) {
    if (!secret.empty()) { secrets_.push_back(secret); }
  }
  std::sort(secrets_.begin(), secrets_.end(), [](const std::string& a, const std::string& b) {
    return a.size() != b.size() ? a.size() > b.size() : a < b;
  });
}

std::string secret_mask::masked(const std::string& text) const {
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    const auto here = std::find_if(secrets_.begin(), secrets_.end(), [&](const std::string& s) {
      return text.compare(at, s.size(), s) == 0;
    });
    result += here == secrets_.end() ? std::string(1, text[at]) : masked_text;
    at += here == secrets_.end() ? 1 : here->size();
  }
  return result;
}

json11::Json secret_mask::masked_json(const json11::Json& json) const {
  if (json.is_string()) { return masked(json.string_value()); }
  if (json.is_object()) { return masked_object(json.object_items()); }
  if (!json.is_array()) { return json; }
  json11::Json::array elements;
  for (const auto& element : json.array_items()) {
    elements.push_back(masked_json(element));
  }
  return elements;
}

json11::Json secret_mask::masked_object(const json11::Json::object& object) const {
  json11::Json::object result;
  for (const auto& [key, value] : object) {
    result[masked(key)] = key == key_process_argv ? masked_arguments(value) : masked_json(value);
  }
  return result;
}

json11::Json secret_mask::masked_arguments(const json11::Json& arguments) const {
  json11::Json::array result;
  bool hides_next = false;
  for (const auto& argument : arguments.array_items()) {
    const std::string& text = argument.string_value();
    result.emplace_back(hides_next ? masked_text : masked(without_credential(text)));
    hides_next = is_credential_option(text);
  }
  return result;
}
