// Walks over the brackets and commas of a JSON text without parsing it: what a text from outside
// would cost a parser is known from them before one sees it.
#pragma once

#include <cstddef>
#include <string_view>

class json_brackets {
public:
  // The text must outlive the walk. It may be anything, not only JSON.
  explicit json_brackets(std::string_view text) : text_(text) {}

  // Moves on to the next bracket or comma outside strings. False at the end of the text.
  bool next();

  char sign() const { return text_[position_]; }
  std::size_t position() const { return position_; }
  // How many brackets are open after this sign.
  std::size_t depth() const { return depth_; }

private:
  std::string_view text_;
  std::size_t position_ = 0;
  std::size_t begin_ = 0;  // where next() goes on
  std::size_t depth_ = 0;
};

struct json_shape {
  std::size_t elements = 0;  // at least as many as a parser would create values
  std::size_t depth = 0;     // the most brackets that are open at once
};

// The shape of a text, in one pass that allocates nothing.
json_shape shape_of_json(std::string_view text);
