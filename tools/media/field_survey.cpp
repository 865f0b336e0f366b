#include "tools/media/field_survey.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <sstream>
#include <vector>

#include "tools/media/engine.h"
#include "tools/media/field_votes.h"
#include "tools/media/picture_filters.h"
#include "tools/media/source_file.h"
#include "tools/media/time_budget.h"

namespace {

// A few places throughout the film, since the beginning says little about the rest. The first place
// is the beginning, which can be read even if nothing else can be found.
constexpr int places = 5;

// Read at each place for marks: longer than from one key picture to the next, in broadcasts.
constexpr const char* marks_reach = "%+3";
constexpr const char* marks_reach_of_key_pictures = "%+#2";
constexpr std::chrono::seconds marks_time_limit{30};

// Looked at in each place: the middle columns and all lines.
constexpr int pictures_seen = 16;
constexpr int columns_seen = 320;
constexpr std::chrono::seconds looks_time_limit{15};

// Of video that may be interlaced: the lines of the standards, with those that some recorders add.
constexpr int interlaced_lines[] = {480, 486, 512, 576, 608, 1080, 1088};
constexpr double interlaced_rates[] = {25.0, 30000.0 / 1001.0, 30.0};

// Each of their pictures is a key picture.
constexpr const char* key_picture_codecs[] = {"prores", "dnxhd", "dvvideo"};

// These codecs cannot code fields, so their pictures were prepared with care.
constexpr const char* progressive_codecs[] = {"vp8", "vp9", "av1"};

template <typename value_type, typename list_type>
bool is_among(const value_type& value, const list_type& list) {
  return std::find(std::begin(list), std::end(list), value) != std::end(list);
}

bool may_be_interlaced(const video_stream& stream) {
  const double rate = stream.frame_rate.value();
  const bool of_the_rate =
      std::any_of(std::begin(interlaced_rates), std::end(interlaced_rates),
                  [&](double known) { return std::fabs(rate - known) < 0.01; });
  return of_the_rate && is_among(stream.coded.height, interlaced_lines) &&
         !is_among(stream.codec, progressive_codecs);
}

// Seconds from the beginning.
std::vector<double> sample_places(double duration) {
  std::vector<double> moments = {0.0};
  for (int place = 1; place < places && duration > 0.0; ++place) {
    moments.push_back(duration * place / places);
  }
  return moments;
}

void append(argument_list& arguments, std::initializer_list<std::string> more) {
  arguments.insert(arguments.end(), more);
}

// How the key pictures of all places are marked.
struct field_marks {
  int pictures = 0;
  int marked = 0;
  bool bottom_first = false;
};

argument_list marks_command(const std::string& url, const media_info& media,
                            const video_stream& stream) {
  const bool all_key = is_among(stream.codec, key_picture_codecs);
  std::string intervals;
  for (const double moment : sample_places(media.duration)) {
    intervals += (intervals.empty() ? "" : ",") + std::to_string(media.start + moment) +
                 (all_key ? marks_reach_of_key_pictures : marks_reach);
  }
  argument_list arguments = ffprobe_command();
  append(arguments, {"-skip_frame", "nokey", "-select_streams", std::to_string(stream.index)});
  append(arguments, {"-read_intervals", intervals, "-of", "csv=p=0", "-show_entries"});
  append(arguments, {"frame=interlaced_frame,top_field_first"});
  add_input(arguments, url, {}, media.depth);
  return arguments;
}

// Reads lines of "interlaced,top first". A place that cannot be reached ends the survey; the places
// before it count.
field_marks read_marks(const source_file& source, const media_info& media,
                       const video_stream& stream) {
  program_request request = confined_request(marks_command(source.url(), media, stream), source);
  set_budget(request, picture_budget(marks_time_limit));
  field_marks marks;
  std::istringstream lines(run_program(request).output);
  for (std::string line; std::getline(lines, line);) {
    if (line.size() < 3) { continue; }
    ++marks.pictures;
    if (line[0] != '1') { continue; }
    ++marks.marked;
    marks.bottom_first = line[2] == '0';
  }
  return marks;
}

argument_list looks_command(const std::string& url, const media_info& media,
                            const video_stream& stream, double moment) {
  const std::string columns = std::to_string(std::min(columns_seen, stream.coded.width));
  argument_list arguments = ffmpeg_command();
  append(arguments, {"-noautorotate", "-noaccurate_seek", "-ss", std::to_string(moment)});
  add_input(arguments, url, {}, media.depth);
  append(arguments, {"-map", "0:" + std::to_string(stream.index), "-filter:v"});
  append(arguments,
         {"crop=" + columns + ":" + std::to_string(stream.coded.height) + ",format=gray"});
  append(arguments, {"-frames:v", std::to_string(pictures_seen), "-c:v", "rawvideo"});
  append(arguments, {"-f", "rawvideo", "-protocol_whitelist", "pipe", "pipe:1"});
  return arguments;
}

field_votes votes_of(std::string_view pictures, std::size_t width, std::size_t height) {
  const std::size_t size = width * height;
  field_votes votes;
  for (std::size_t at = 0; at + 2 * size <= pictures.size(); at += size) {
    votes +=
        compare_fields(pictures.substr(at, size), pictures.substr(at + size, size), width, height);
  }
  return votes;
}

field_order look(const source_file& source, const media_info& media, const video_stream& stream) {
  const auto width = static_cast<std::size_t>(std::min(columns_seen, stream.coded.width));
  const auto height = static_cast<std::size_t>(stream.coded.height);
  field_votes votes;
  for (const double moment : sample_places(media.duration)) {
    program_request request =
        confined_request(looks_command(source.url(), media, stream, moment), source);
    set_budget(request, picture_budget(looks_time_limit));
    request.output_limit = pictures_seen * width * height;
    const program_result result = run_program(request);
    if (result.end == program_end::tool_stopped) { break; }
    votes += votes_of(result.output, width, height);
  }
  return clear_order(votes);
}

void survey(const source_file& source, const media_info& media, video_stream& stream) {
  if (marks_each_picture(stream)) {
    const field_marks marks = read_marks(source, media, stream);
    if (marks.marked > 0) {
      stream.interlaced = true;
      stream.bottom_first = marks.bottom_first;
    }
    if (marks.marked > 0 || marks.pictures == 0) { return; }
  } else if (stream.interlaced) {
    return;
  }
  if (!stream.interlaced && !may_be_interlaced(stream)) { return; }
  const field_order order = look(source, media, stream);
  if (order == field_order::none) { return; }
  stream.interlaced = stream.unmarked = true;
  stream.bottom_first = order == field_order::bottom_first;
}

}  // namespace

void survey_fields(const std::string& path, media_info& media) {
  const video_stream* shown = media.picture();
  source_file source;
  std::string ignored;
  if (shown == nullptr || media.still || !source.open(path, ignored)) { return; }
  for (video_stream& stream : media.video) {
    if (&stream == shown) { survey(source, media, stream); }
  }
}
