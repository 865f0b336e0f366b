#include "tools/qx_vod_ctl/log_reader.h"

#include "platform/text.h"

namespace {

// With its line end, and the one before it, so that no other line ends like it.
std::string last_line(const std::string& text) {
  const std::size_t before =
      text.size() < 2 ? std::string::npos : text.rfind('\n', text.size() - 2);
  return before == std::string::npos ? text : text.substr(before);
}

}  // namespace

std::string log_reader::news(const std::string& log) {
  std::string whole = log.substr(0, log.rfind('\n') + 1);
  std::size_t begin = last_.size();
  if (!begins_with(whole, last_)) {
    const std::string known = last_line(last_);
    const std::size_t at = whole.rfind(known);
    begin = at == std::string::npos ? 0 : at + known.size();
  }
  std::string lines = whole.substr(begin);
  last_ = std::move(whole);
  return lines;
}
