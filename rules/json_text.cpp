#include "rules/json_text.h"

#include "platform/json_brackets.h"
#include "platform/json_bytes.h"

void prepare_json() {
  static_cast<void>(json11::Json(true));
}

std::string json_text(const json11::Json& json) {
  std::string text = json.dump();
  escape_bytes(text);
  return text;
}

json11::Json parse_json(const std::string& text, std::string& error, std::size_t most_elements) {
  const json_shape shape = shape_of_json(text);
  if (shape.depth > deepest_json) {
    error = too_deep_json;
    return {};
  }
  if (shape.elements > most_elements) {
    error = "more than " + std::to_string(most_elements) + " elements";
    return {};
  }
  const bool has_escapes = text.find("\\u") != std::string::npos;
  return json11::Json::parse(has_escapes ? unescape_bytes(text) : text, error);
}
