#include "tools/qxmi_vod_transcode/spread/task_note.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>

#include <json11.hpp>

#include "tools/qxmi_vod_transcode/spread/shared_text.h"

namespace {

constexpr std::size_t longest_note = 1U << 20;

// What a tool may write: see its options and settings.
constexpr int most_level = 7;
constexpr int most_threads = 1024;
constexpr int shortest_segment_s = 2;
constexpr int longest_segment_s = 600;
constexpr double most_segments = 1e6;
constexpr double longest_length = 1e7;

json11::Json ranges_json(const std::vector<task_range>& ranges) {
  json11::Json::array all;
  for (const task_range& range : ranges) {
    all.push_back(
        json11::Json::array{static_cast<double>(range.first), static_cast<double>(range.end)});
  }
  return all;
}

bool read_ranges(const json11::Json& json, std::vector<task_range>& ranges) {
  for (const json11::Json& pair : json.array_items()) {
    const double first = pair[0].number_value();
    const double end = pair[1].number_value();
    if (first < 0.0 || end <= first || end > most_segments) { return false; }
    ranges.push_back({static_cast<std::int64_t>(first), static_cast<std::int64_t>(end)});
    if (ranges.back().size() <= 0) { return false; }
  }
  return !ranges.empty();
}

json11::Json lengths_json(const std::optional<measured_lengths>& lengths) {
  if (!lengths) { return {}; }
  return json11::Json::array{lengths->all, lengths->picture, lengths->sound, lengths->jump_limit};
}

// None is as good as the tool's own.
bool read_lengths(const json11::Json& json, std::optional<measured_lengths>& lengths) {
  lengths.reset();
  if (json.is_null()) { return true; }
  const measured_lengths read = {json[0].number_value(), json[1].number_value(),
                                 json[2].number_value(), json[3].number_value()};
  for (const double one : {read.all, read.picture, read.sound, read.jump_limit}) {
    if (!(one >= 0.0 && one <= longest_length)) { return false; }
  }
  lengths = read;
  return read.all > 0.0;
}

bool is_between(int number, int least, int most) {
  return number >= least && number <= most;
}

}  // namespace

bool write_task_note(int folder, const task_note& note) {
  const json11::Json json = json11::Json::object{{"token", note.token},
                                                 {"source", note.source},
                                                 {"profile", note.profile},
                                                 {"level", note.level},
                                                 {"threads", note.threads},
                                                 {"segment_seconds", note.segment_seconds},
                                                 {"last_is_open", note.last_is_open},
                                                 {"lengths", lengths_json(note.lengths)},
                                                 {"version", note.version},
                                                 {"ranges", ranges_json(note.ranges)}};
  return write_text(folder, task_note_name, json.dump());
}

bool read_task_note(int folder, task_note& note) {
  std::string text;
  std::string error;
  if (!read_text(folder, task_note_name, longest_note, text)) { return false; }
  errno = 0;
  const json11::Json json = json11::Json::parse(text, error);
  note.token = json["token"].string_value();
  note.source = json["source"].string_value();
  note.profile = json["profile"].string_value();
  note.level = json["level"].int_value();
  note.threads = json["threads"].int_value();
  note.segment_seconds = json["segment_seconds"].int_value();
  note.last_is_open = json["last_is_open"].bool_value();
  note.version = json["version"].string_value();
  note.ranges.clear();
  return read_ranges(json["ranges"], note.ranges) && read_lengths(json["lengths"], note.lengths) &&
         !note.token.empty() && !note.source.empty() && is_between(note.level, 0, most_level) &&
         is_between(note.threads, 1, most_threads) &&
         is_between(note.segment_seconds, shortest_segment_s, longest_segment_s);
}
