#include "tools/job_log/job_resumption.h"

#include <charconv>

#include "platform/text.h"
#include "tools/job_log/log_time.h"
#include "tools/job_log/run_lines.h"

namespace {

std::optional<job_resumption> read_resumption(std::string_view line) {
  const std::string_view text = note_text(line, checkpoint_note);
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
    const bool ends =
        bounds_run(line) || begins_with(note_text(line, checkpoint_note), started_over_words);
    if (ends) { found.reset(); }
    if (const auto resumed = read_resumption(line)) { found = resumed; }
  });
  return found;
}

std::optional<job_resumption> find_resumption(const std::string& output_file) {
  return resumption_in(log_of_last_run(output_file));
}

std::string resumption_text(const job_resumption& resumed) {
  return resumed_words + std::to_string(resumed.percent) + " %";
}
