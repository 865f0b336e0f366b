#include "platform/json_brackets.h"

#include <algorithm>

namespace {

// Whether the sign at `end` follows an odd number of backslashes, counted back to `begin`.
bool is_escaped(std::string_view text, std::size_t begin, std::size_t end) {
  std::size_t first = end;
  while (first > begin && text[first - 1] == '\\') {
    --first;
  }
  return (end - first) % 2 == 1;
}

// The position of the quote that ends the string which begins at `begin`, or the end of the text.
std::size_t end_of_string(std::string_view text, std::size_t begin) {
  std::size_t end = text.find('"', begin);
  while (end != std::string_view::npos && is_escaped(text, begin, end)) {
    end = text.find('"', end + 1);
  }
  return std::min(end, text.size());
}

}  // namespace

bool json_brackets::next() {
  for (std::size_t at = begin_; at < text_.size(); ++at) {
    switch (text_[at]) {
    case '"':
      at = end_of_string(text_, at + 1);
      continue;
    case '{':
    case '[':
      ++depth_;
      break;
    case '}':
    case ']':
      depth_ -= depth_ > 0 ? 1 : 0;
      break;
    case ',':
      break;
    default:
      continue;
    }
    position_ = at;
    begin_ = at + 1;
    return true;
  }
  begin_ = text_.size();
  return false;
}

json_shape shape_of_json(std::string_view text) {
  json_shape shape{1, 0};
  json_brackets brackets(text);
  while (brackets.next()) {
    if (brackets.sign() != '}' && brackets.sign() != ']') { ++shape.elements; }
    shape.depth = std::max(shape.depth, brackets.depth());
  }
  return shape;
}
