#include "tools/job_log/run_lines.h"

#include "tools/job_log/job_log_file.h"
#include "tools/job_log/log_mark.h"

namespace {

constexpr const char* tool = "qxmi_vod_transcode";

// An engine that works well writes little.
constexpr std::size_t tail_size = std::size_t{16} << 10;

bool has_opening(std::string_view log) {
  bool found = false;
  for_each_line(log, [&](std::string_view line) { found = found || opens_run(line); });
  return found;
}

}  // namespace

bool opens_run(std::string_view line) {
  return read_log_mark(line, job_log_opening, tool).has_value();
}

bool bounds_run(std::string_view line) {
  return opens_run(line) || read_log_mark(line, job_log_closing, tool).has_value();
}

std::string_view note_text(std::string_view line, std::string_view key) {
  const std::string head = " " + std::string(key) + ": ";
  const std::size_t blank = line.find(' ');
  if (blank == std::string_view::npos || line.substr(blank, head.size()) != head) { return {}; }
  return line.substr(blank + head.size());
}

std::string log_of_last_run(const std::string& output_file) {
  if (output_file.empty()) { return {}; }
  std::string tail = read_job_log(output_file, tail_size);
  return has_opening(tail) ? tail : read_job_log(output_file);
}
