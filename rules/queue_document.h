// The text of a queue file, whose jobs are parsed one at a time: the whole tree of a long file
// would take many times the memory of its text.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <json11.hpp>

class queue_document {
public:
  // Finds the jobs in the text, which must outlive the document and may be anything.
  explicit queue_document(const std::string& text);

  // False if the text, apart from the elements of its list, is not JSON or exceeds a limit; error()
  // says why. The elements of other arrays are parsed too, unless they are larger than any job.
  bool is_json() const { return is_json_; }
  // Empty for a text that consists of "null".
  const std::string& error() const { return error_; }
  // False if there is no list, or null in its place.
  bool has_list() const { return !list_.is_null(); }
  bool list_is_array() const { return list_.is_array(); }

  // How many elements of the list are read: not more than a queue holds.
  std::size_t size() const { return jobs_.size(); }
  // How many elements follow those.
  std::size_t left_out() const { return left_out_; }
  // Whether the element with this index has more elements of its own than any job.
  bool is_too_large(std::size_t index) const;
  // The element with this index. Null with `error` set if it is not JSON or exceeds a limit.
  json11::Json job(std::size_t index, std::string& error) const;

private:
  void take_jobs(std::string_view content);
  // Sets the error if an element is not JSON.
  void check_array(std::string_view content);

  bool is_json_ = false;
  json11::Json list_;  // without its elements
  std::vector<std::string_view> jobs_;
  std::size_t left_out_ = 0;
  std::string error_;
};

// What is wrong with the text of a queue file in which a fault was found, in the words of the JSON
// parser. The fault as it was found if the text exceeds a limit for what is parsed as a whole.
std::string fault_of_queue(const std::string& text, const std::string& found);
