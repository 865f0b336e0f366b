#include "rules/queue_document.h"

#include "platform/json_brackets.h"
#include "rules/json_keys.h"
#include "rules/json_text.h"
#include "rules/limits.h"

namespace {

// The brackets that are open within an array that is a member of the document.
constexpr std::size_t array_depth = 2;

// Such arrays in a document. The service writes one.
constexpr std::size_t most_arrays = 16;

constexpr const char* blanks = " \t\r\n";

struct split_array {
  std::vector<std::string_view> elements;
  std::size_t left_out = 0;
};

// Cuts the elements of the document's arrays out of its text. What remains is the frame, with each
// array's number as its only element. If the text is cut off, or a bracket closes another one, the
// frame is no more JSON than the text.
class array_splitter {
public:
  explicit array_splitter(std::string_view text) : text_(text) {}

  // Empty, or why the text is not taken apart.
  const char* split() {
    json_brackets brackets(text_);
    while (brackets.next()) {
      if (brackets.depth() > deepest_json) { return too_deep_json; }
      if (arrays_.size() > most_arrays) { return "too many arrays"; }
      if (is_inside_) {
        go_on_inside(brackets);
      } else if (brackets.depth() == array_depth && brackets.sign() == '[') {
        begin_array(brackets.position() + 1);
      }
    }
    if (!is_inside_) { frame_ += text_.substr(begin_); }
    return "";
  }

  const std::string& frame() const { return frame_; }
  std::vector<split_array>& arrays() { return arrays_; }

private:
  void begin_array(std::size_t content) {
    frame_ += text_.substr(begin_, content - begin_);
    frame_ += std::to_string(arrays_.size());
    arrays_.emplace_back();
    begin_ = content;
    is_inside_ = true;
  }

  void go_on_inside(const json_brackets& brackets) {
    if (brackets.depth() < array_depth) {
      const std::string_view last = text_.substr(begin_, brackets.position() - begin_);
      const bool is_empty = arrays_.back().elements.empty() &&
                            last.find_first_not_of(blanks) == std::string_view::npos;
      if (!is_empty) { take(last); }
      begin_ = brackets.position();
      is_inside_ = false;
    } else if (brackets.depth() == array_depth && brackets.sign() == ',') {
      take(text_.substr(begin_, brackets.position() - begin_));
      begin_ = brackets.position() + 1;
    }
  }

  void take(std::string_view element) {
    split_array& array = arrays_.back();
    if (array.elements.size() < most_jobs) {
      array.elements.push_back(element);
    } else {
      ++array.left_out;
    }
  }

  std::string_view text_;
  std::string frame_;
  std::vector<split_array> arrays_;
  std::size_t begin_ = 0;  // of what has not been taken yet
  bool is_inside_ = false;
};

}  // namespace

queue_document::queue_document(const std::string& text) {
  array_splitter splitter(text);
  error_ = splitter.split();
  if (!error_.empty()) { return; }
  json11::Json const frame = parse_json(splitter.frame(), error_, most_item_elements);
  is_json_ = !frame.is_null();
  list_ = frame[key_list];
  if (!list_.is_array()) { return; }
  split_array& found = splitter.arrays()[static_cast<std::size_t>(list_[0].int_value())];
  jobs_ = std::move(found.elements);
  left_out_ = found.left_out;
}

bool queue_document::is_too_large(std::size_t index) const {
  return shape_of_json(jobs_[index]).elements > most_item_elements;
}

json11::Json queue_document::job(std::size_t index, std::string& error) const {
  return parse_json(std::string(jobs_[index]), error, most_item_elements);
}
