#include "tools/job_log/job_resumption.h"

#include <charconv>

#include "platform/text.h"
#include "tools/job_log/job_log_file.h"
#include "tools/job_log/log_mark.h"
#include "tools/job_log/log_time.h"

namespace {

constexpr const char* tool = "qxmi_vod_transcode";

// The note is among the first lines of a run, and an engine that works well writes little.
constexpr std::size_t tail_size = std::size_t{16} << 10;

bool opens_run(std::string_view line) {
  return read_log_mark(line, job_log_opening, tool).has_value();
}

// Calls `act` with each line.
template <typename Action>
void for_each_line(std::string_view text, Action act) {
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    act(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
}

bool has_opening(std::string_view log) {
  bool found = false;
  for_each_line(log, [&](std::string_view line) { found = found || opens_run(line); });
  return found;
}

// The text of a line "TIME checkpoint: TEXT"; empty for any other.
std::string_view checkpoint_text(std::string_view line) {
  const std::string head = std::string(" ") + checkpoint_note + ": ";
  const std::size_t blank = line.find(' ');
  if (blank == std::string_view::npos || line.substr(blank, head.size()) != head) { return {}; }
  return line.substr(blank + head.size());
}

std::optional<job_resumption> read_resumption(std::string_view line) {
  const std::string_view text = checkpoint_text(line);
  const std::string_view words = resumed_words;
  const auto time = read_log_time(line.substr(0, line.find(' ')));
  if (!time || text.substr(0, words.size()) != words) { return std::nullopt; }
  job_resumption found;
  found.time = *time;
  const char* const end = text.data() + text.size();
  const auto number = std::from_chars(text.data() + words.size(), end, found.percent);
  const bool is_percent = number.ec == std::errc() && found.percent >= 0 && found.percent <= 100;
  return is_percent ? std::optional<job_resumption>(found) : std::nullopt;
}

}  // namespace

std::optional<job_resumption> resumption_in(std::string_view log) {
  std::optional<job_resumption> found;
  for_each_line(log, [&](std::string_view line) {
    const bool ends = opens_run(line) || read_log_mark(line, job_log_closing, tool) ||
                      begins_with(checkpoint_text(line), begun_anew_words);
    if (ends) { found.reset(); }
    if (const auto resumed = read_resumption(line)) { found = resumed; }
  });
  return found;
}

std::optional<job_resumption> find_resumption(const std::string& output_file) {
  if (output_file.empty()) { return std::nullopt; }
  const std::string tail = read_job_log(output_file, tail_size);
  return resumption_in(has_opening(tail) ? tail : read_job_log(output_file));
}

std::string resumption_text(const job_resumption& resumed) {
  return resumed_words + std::to_string(resumed.percent) + " %";
}
