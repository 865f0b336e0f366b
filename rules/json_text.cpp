#include "rules/json_text.h"

#include "platform/json_brackets.h"

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
  return json11::Json::parse(text, error);
}
