#include "tools/job_log/job_spread.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <utility>

#include "platform/text.h"
#include "tools/job_log/log_time.h"
#include "tools/job_log/run_lines.h"

namespace {

// The tool may be late where the machine is busy.
constexpr std::time_t oldest_s = std::time_t{4} * spread_note_s;

constexpr std::int64_t most = 1'000'000;
constexpr std::size_t longest_name = 64;

bool take(std::string_view& text, std::string_view words) {
  const bool is_there = begins_with(text, words);
  if (is_there) { text.remove_prefix(words.size()); }
  return is_there;
}

bool take_number(std::string_view& text, std::int64_t& number) {
  const auto end = std::from_chars(text.data(), text.data() + text.size(), number);
  if (end.ec != std::errc() || number < 0 || number > most) { return false; }
  text.remove_prefix(static_cast<std::size_t>(end.ptr - text.data()));
  return true;
}

bool take_name(std::string_view& text, std::vector<std::string>& names) {
  constexpr const char* allowed =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.";
  const std::string_view name = text.substr(0, text.find_first_not_of(allowed));
  if (name.empty() || name.size() > longest_name || names.size() == most_nodes_named) {
    return false;
  }
  names.emplace_back(name);
  text.remove_prefix(name.size());
  return true;
}

// The rest of a note from " on " on, which is missing while no node works.
bool read_nodes(std::string_view text, job_spread& spread) {
  if (text.empty()) { return true; }
  if (!take(text, " on ")) { return false; }
  do {
    if (!take_name(text, spread.nodes)) { return false; }
  } while (take(text, ", "));
  const bool is_whole =
      !take(text, " and ") || (take_number(text, spread.more_nodes) && take(text, " more"));
  return is_whole && text.empty();
}

std::optional<job_spread> read_spread(std::string_view text) {
  job_spread spread;
  const bool is_spread = take_number(text, spread.finished) && take(text, " of ") &&
                         take_number(text, spread.all) && take(text, " segments, ") &&
                         take_number(text, spread.under_way) && take(text, " under way") &&
                         read_nodes(text, spread) && spread.finished <= spread.all;
  return is_spread ? std::optional<job_spread>(std::move(spread)) : std::nullopt;
}

bool is_fresh(std::string_view line, std::time_t now) {
  const auto time = read_log_time(line.substr(0, line.find(' ')));
  return time && *time >= now - oldest_s && *time <= now + oldest_s;
}

}  // namespace

void set_nodes(job_spread& spread, const std::set<std::string>& nodes) {
  const std::size_t named = std::min(nodes.size(), most_nodes_named);
  spread.nodes.assign(nodes.begin(), std::next(nodes.begin(), static_cast<std::ptrdiff_t>(named)));
  spread.more_nodes = static_cast<std::int64_t>(nodes.size() - named);
}

std::optional<job_spread> spread_in(std::string_view log, std::time_t now) {
  std::optional<job_spread> found;
  for_each_line(log, [&](std::string_view line) {
    const std::string_view text = note_text(line, cluster_note);
    if (bounds_run(line) || begins_with(text, spread_ended_words)) { found.reset(); }
    if (text.empty() || !is_fresh(line, now)) { return; }
    if (auto spread = read_spread(text)) { found = std::move(spread); }
  });
  return found;
}

std::optional<job_spread> find_spread(const std::string& output_file) {
  return spread_in(log_of_last_run(output_file), std::time(nullptr));
}

std::string spread_text(const job_spread& spread) {
  std::string text = std::to_string(spread.finished) + " of " + std::to_string(spread.all) +
                     " segments, " + std::to_string(spread.under_way) + " under way";
  for (std::size_t i = 0; i < spread.nodes.size(); ++i) {
    text += (i == 0 ? " on " : ", ") + spread.nodes[i];
  }
  if (spread.more_nodes > 0) { text += " and " + std::to_string(spread.more_nodes) + " more"; }
  return text;
}
