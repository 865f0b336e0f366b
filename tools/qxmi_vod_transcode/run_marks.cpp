#include "tools/qxmi_vod_transcode/run_marks.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <optional>
#include <vector>

#include "tools/qxmi_vod_transcode/segment_commands.h"

namespace {

constexpr std::size_t fields_of_line = 6;  // stream, decoded, shown, duration, size, sum
constexpr std::size_t shown_field = 2;
constexpr std::size_t sum_digits = 32;
constexpr std::size_t digits_kept = 8;

constexpr std::size_t fields_of_file = 3;  // name, begin, end

std::vector<std::string_view> fields(std::string_view line) {
  std::vector<std::string_view> all;
  while (true) {
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    const std::size_t comma = line.find(',');
    all.push_back(line.substr(0, comma));
    if (comma == std::string_view::npos) { return all; }
    line.remove_prefix(comma + 1);
  }
}

bool read_number(std::string_view text, std::int64_t& number) {
  const std::from_chars_result result =
      std::from_chars(text.data(), text.data() + text.size(), number);
  return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

}  // namespace

void run_marks_reader::take_line(std::string_view line) {
  if (line.empty() || line[0] == '#') { return; }
  const std::vector<std::string_view> all = fields(line);
  std::int64_t shown = 0;
  if (all.size() != fields_of_line || all.back().size() != sum_digits ||
      !read_number(all[shown_field], shown) || shown < 0) {
    return;
  }
  // The engine is not trusted: it could name any number of pictures.
  if (shown > most_segments_named * frames_) { return; }
  const std::int64_t frame = first_frame_ + shown;
  if (frame % frames_ >= marked_frames) { return; }
  sums_[frame / frames_][frame % frames_] = std::string(all.back().substr(0, digits_kept));
}

std::string run_marks_reader::mark(std::int64_t segment) const {
  const auto found = sums_.find(segment);
  const auto wanted = static_cast<std::size_t>(std::min(frames_, marked_frames));
  if (found == sums_.end() || found->second.size() != wanted) { return {}; }
  std::string mark;
  for (const auto& [frame, sum] : found->second) {
    mark += sum;
  }
  return mark;
}

bool shows_movement(std::string_view mark) {
  return mark.size() > digits_kept &&
         mark.substr(digits_kept) != mark.substr(0, mark.size() - digits_kept);
}

bool read_landing(std::string_view list, std::int64_t& time) {
  while (!list.empty()) {
    const std::size_t end = list.find('\n');
    if (end == std::string_view::npos) { return false; }
    const std::vector<std::string_view> all = fields(list.substr(0, end));
    if (list[0] != '#' && all.size() > shown_field) { return read_number(all[shown_field], time); }
    list.remove_prefix(end + 1);
  }
  return false;
}

bool read_sound_length(std::string_view list, const std::string& name, double& seconds) {
  std::size_t line_end = 0;
  std::optional<double> end_before;
  while ((line_end = list.find('\n')) != std::string_view::npos) {
    const std::vector<std::string_view> all = fields(list.substr(0, line_end));
    if (all.size() != fields_of_file) { return false; }
    const double begin = std::strtod(std::string(all[1]).c_str(), nullptr);
    const double end = std::strtod(std::string(all[2]).c_str(), nullptr);
    if (all[0] == name) {
      seconds = end - end_before.value_or(begin);
      return true;
    }
    end_before = end;
    list.remove_prefix(line_end + 1);
  }
  return false;
}
