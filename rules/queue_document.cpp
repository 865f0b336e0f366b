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

// Cuts the contents of the document's arrays out of its text. What remains is the frame, with each
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
      if (contents_.size() > most_arrays) { return "too many arrays"; }
      if (is_inside_ && brackets.depth() < array_depth) {
        end_array(brackets.position());
      } else if (!is_inside_ && brackets.depth() == array_depth && brackets.sign() == '[') {
        begin_array(brackets.position() + 1);
      }
    }
    if (!is_inside_) { frame_ += text_.substr(begin_); }
    return "";
  }

  const std::string& frame() const { return frame_; }
  // Of each array, between its brackets.
  const std::vector<std::string_view>& contents() const { return contents_; }

private:
  void begin_array(std::size_t content) {
    frame_ += text_.substr(begin_, content - begin_);
    frame_ += std::to_string(contents_.size());
    begin_ = content;
    is_inside_ = true;
  }

  void end_array(std::size_t end) {
    contents_.push_back(text_.substr(begin_, end - begin_));
    begin_ = end;
    is_inside_ = false;
  }

  std::string_view text_;
  std::string frame_;
  std::vector<std::string_view> contents_;
  std::size_t begin_ = 0;  // of what has not been taken yet
  bool is_inside_ = false;
};

// Calls `take` with the text of each element of an array.
template <typename Take>
void for_each_element(std::string_view content, Take take) {
  if (content.find_first_not_of(blanks) == std::string_view::npos) { return; }
  std::size_t begin = 0;
  json_brackets brackets(content);
  while (brackets.next()) {
    if (brackets.depth() > 0 || brackets.sign() != ',') { continue; }
    take(content.substr(begin, brackets.position() - begin));
    begin = brackets.position() + 1;
  }
  take(content.substr(begin));
}

bool is_beyond_any_job(std::string_view element) {
  return shape_of_json(element).elements > most_item_elements;
}

}  // namespace

queue_document::queue_document(const std::string& text) {
  array_splitter splitter(text);
  error_ = splitter.split();
  if (!error_.empty()) { return; }
  json11::Json const frame = parse_json(splitter.frame(), error_, most_item_elements);
  if (frame.is_null()) { return; }
  json11::Json const list = frame[key_list];
  for (std::size_t i = 0; i < splitter.contents().size(); ++i) {
    const std::string_view content = splitter.contents()[i];
    if (list.is_array() && list[0].int_value() == static_cast<int>(i)) {
      take_jobs(content);
    } else {
      check_array(content);
    }
  }
  is_json_ = error_.empty();
  if (is_json_) {
    list_ = list;
  } else {
    jobs_.clear();
  }
}

void queue_document::take_jobs(std::string_view content) {
  for_each_element(content, [this](std::string_view element) {
    if (jobs_.size() < most_jobs) {
      jobs_.push_back(element);
    } else {
      ++left_out_;
    }
  });
}

void queue_document::check_array(std::string_view content) {
  for_each_element(content, [this](std::string_view element) {
    if (error_.empty() && !is_beyond_any_job(element)) {
      parse_json(std::string(element), error_, most_item_elements);
    }
  });
}

bool queue_document::is_too_large(std::size_t index) const {
  return is_beyond_any_job(jobs_[index]);
}

json11::Json queue_document::job(std::size_t index, std::string& error) const {
  return parse_json(std::string(jobs_[index]), error, most_item_elements);
}

std::string fault_of_queue(const std::string& text, const std::string& found) {
  const json_shape shape = shape_of_json(text);
  if (shape.depth > deepest_json || shape.elements > most_page_elements) { return found; }
  std::string error;
  json11::Json::parse(text, error);
  return error.empty() ? found : error;
}
