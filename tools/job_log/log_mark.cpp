#include "tools/job_log/log_mark.h"

std::optional<log_mark> read_log_mark(std::string_view line, std::string_view mark,
                                      std::string_view tool) {
  if (line.substr(0, mark.size()) != mark) { return std::nullopt; }
  line.remove_prefix(mark.size());
  const std::size_t blank = line.find(' ');
  if (blank == std::string_view::npos) { return std::nullopt; }
  const std::string_view name = line.substr(blank + 1);
  const bool is_its = name.substr(0, tool.size()) == tool &&
                      (name.size() == tool.size() || name[tool.size()] == ' ');
  if (!is_its) { return std::nullopt; }
  return log_mark{line.substr(0, blank), name.substr(tool.size())};
}
