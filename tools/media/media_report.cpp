#include "tools/media/media_report.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>

#include <json11.hpp>

#include "platform/media_metadata.h"
#include "rules/json_text.h"

using json11::Json;

const char* const media_report_entries =
    "format=format_name,start_time,duration,bit_rate"
    ":stream=index,codec_type,codec_name,pix_fmt,sample_fmt,width,height,sample_aspect_ratio,"
    "field_order,color_transfer,color_space,color_primaries,r_frame_rate,avg_frame_rate,start_time,"
    "duration,channels,channel_layout,sample_rate"
    ":stream_disposition=default,comment,hearing_impaired,visual_impaired,attached_pic"
    ":stream_side_data=rotation:stream_tags=rotate,language"
    ":program=program_id:program_stream=index"
    ":program_version=version";

namespace {

// Program ids by stream index: a stream may be carried by several programs.
using program_map = std::map<int, std::vector<int>>;

constexpr int largest_side = 32768;

// Formats without an index or a clock: the length that ffprobe reports is the file's size divided
// by a bit rate.
constexpr const char* unclocked_containers[] = {"h264", "hevc", "mpegvideo", "mp3", "aac", "ac3"};

double seconds(const Json& value) {
  const double number = std::strtod(value.string_value().c_str(), nullptr);
  return std::isfinite(number) ? number : 0.0;
}

double duration(const Json& value) {
  const double number = seconds(value);
  return number > 0.0 && number < longest_media_s ? number : 0.0;
}

// "25/1" or "16:15"; {0, 0} when it is neither.
rational ratio(const std::string& text) {
  char* end = nullptr;
  const std::int64_t num = std::strtoll(text.c_str(), &end, 10);
  if (*end != '/' && *end != ':') { return {}; }
  const std::int64_t den = std::strtoll(end + 1, nullptr, 10);
  return num > 0 && den > 0 ? rational{num, den} : rational{};
}

bool flagged(const Json& stream, const char* disposition) {
  return stream["disposition"][disposition].int_value() != 0;
}

bool close_to(double a, double b) {
  return std::fabs(a - b) <= 0.02 * b;
}

// The usual rates. The rate that a camera declares is one of them even if it drops frames.
bool is_usual(const rational& rate) {
  constexpr double whole[] = {24, 25, 30, 48, 50, 60};
  return std::any_of(std::begin(whole), std::end(whole), [&](double usual) {
    return std::fabs(rate.value() - usual) < 0.01 ||
           std::fabs(rate.value() - usual * 1000 / 1001) < 0.01;
  });
}

// The nominal rate is exact if the file has one, but may count fields instead of frames. For a
// variable rate it may be anything, such as the resolution of the clock or the camera's setting.
// The average rate decides.
rational frame_rate(const Json& stream) {
  const rational nominal = ratio(stream["r_frame_rate"].string_value());
  const rational average = ratio(stream["avg_frame_rate"].string_value());
  if (!average.known()) { return nominal; }
  if (!nominal.known()) { return average; }
  if (close_to(nominal.value(), average.value())) { return nominal; }
  const rational halved = {nominal.num, nominal.den * 2};
  if (close_to(halved.value(), average.value())) { return halved; }
  const bool frames_left_out = average.value() < nominal.value() && is_usual(nominal);
  return frames_left_out ? nominal : average;
}

// A pixel eight times as wide as high is a damaged header, not a format.
rational sample_aspect(const Json& stream) {
  const rational told = ratio(stream["sample_aspect_ratio"].string_value());
  const bool sensible = told.known() && told.value() < 8.0 && told.value() > 1.0 / 8.0;
  return sensible ? told : rational{1, 1};
}

// The display matrix turns counter-clockwise, the older tag clockwise.
int rotation(const Json& stream) {
  double degrees = seconds(stream["tags"]["rotate"]);
  for (const Json& data : stream["side_data_list"].array_items()) {
    if (data["rotation"].is_number()) { degrees = -data["rotation"].number_value(); }
  }
  if (!std::isfinite(degrees) || std::fabs(degrees) > 360.0) { return 0; }
  const int quarters = static_cast<int>(std::lround(degrees / 90.0)) % 4;
  return (quarters + 4) % 4 * 90;
}

picture_size displayed_size(picture_size coded, rational aspect, int turned) {
  const long wide = std::lround(coded.width * aspect.value());
  picture_size size = {static_cast<int>(std::max(1L, wide)), coded.height};
  if (turned == 90 || turned == 270) { std::swap(size.width, size.height); }
  return size;
}

bool side_is_sensible(int side) {
  return side > 0 && side <= largest_side;
}

std::string colour(const Json& value) {
  const std::string& name = value.string_value();
  return name == "unknown" || name == "reserved" ? std::string() : name;
}

// A stream is decodable when the engine found a decoder and the decoder found a picture or sound:
// only then is there a pixel or sample format.
bool read_video(const Json& stream, video_stream& video) {
  video.codec = stream["codec_name"].string_value();
  video.pixel_format = stream["pix_fmt"].string_value();
  video.coded = {stream["width"].int_value(), stream["height"].int_value()};
  if (video.pixel_format.empty() || !side_is_sensible(video.coded.width) ||
      !side_is_sensible(video.coded.height)) {
    return false;
  }
  video.sample_aspect = sample_aspect(stream);
  video.rotation = rotation(stream);
  video.displayed = displayed_size(video.coded, video.sample_aspect, video.rotation);
  video.frame_rate = frame_rate(stream);
  const std::string order = stream["field_order"].string_value();
  video.interlaced = !order.empty() && order != "progressive" && order != "unknown";
  video.bottom_first = order == "bb" || order == "tb";  // the second letter is the one shown first
  video.transfer = colour(stream["color_transfer"]);
  video.matrix = colour(stream["color_space"]);
  video.primaries = colour(stream["color_primaries"]);
  video.cover = flagged(stream, "attached_pic");
  video.preferred = flagged(stream, "default");
  return true;
}

bool is_secondary(const Json& stream) {
  return flagged(stream, "comment") || flagged(stream, "hearing_impaired") ||
         flagged(stream, "visual_impaired");
}

bool read_audio(const Json& stream, audio_stream& audio) {
  audio.codec = stream["codec_name"].string_value();
  audio.channels = stream["channels"].int_value();
  audio.sample_rate = std::atoi(stream["sample_rate"].string_value().c_str());
  const std::string layout = stream["channel_layout"].string_value();
  audio.layout_known = !layout.empty() && layout != "unknown";
  audio.language = stream["tags"]["language"].string_value();
  audio.preferred = flagged(stream, "default");
  audio.secondary = is_secondary(stream);
  return !stream["sample_fmt"].string_value().empty() && audio.channels > 0 &&
         audio.sample_rate > 0;
}

template <typename stream_type>
void place(const Json& stream, const program_map& programs, stream_type& result) {
  result.index = stream["index"].int_value();
  result.start = seconds(stream["start_time"]);
  result.duration = duration(stream["duration"]);
  const auto found = programs.find(result.index);
  if (found != programs.end()) { result.programs = found->second; }
}

program_map read_programs(const Json& programs) {
  program_map map;
  for (const Json& program : programs.array_items()) {
    for (const Json& stream : program["streams"].array_items()) {
      map[stream["index"].int_value()].push_back(program["program_id"].int_value());
    }
  }
  return map;
}

// A stream whose first packets were not met yet may become clear further on.
void read_unclear(const Json& stream, const std::string& kind, const program_map& programs,
                  media_info& info) {
  unclear_stream unclear;
  unclear.sound = kind == "audio";
  unclear.preferred = flagged(stream, "default");
  unclear.secondary = is_secondary(stream);
  place(stream, programs, unclear);
  info.unclear.push_back(unclear);
}

void read_streams(const Json& streams, const program_map& programs, media_info& info) {
  for (const Json& stream : streams.array_items()) {
    const std::string kind = stream["codec_type"].string_value();
    video_stream video;
    audio_stream audio;
    if (kind == "video" && read_video(stream, video)) {
      place(stream, programs, video);
      info.video.push_back(video);
    } else if (kind == "audio" && read_audio(stream, audio)) {
      place(stream, programs, audio);
      info.audio.push_back(audio);
    } else if (kind == "video" || kind == "audio") {
      read_unclear(stream, kind, programs, info);
    }
  }
}

bool is_unclocked(const std::string& container) {
  return std::find(std::begin(unclocked_containers), std::end(unclocked_containers), container) !=
         std::end(unclocked_containers);
}

}  // namespace

bool read_media_report(const std::string& report, media_info& info) {
  std::string error;
  const Json document = parse_json(report, error);
  const Json& format = document["format"];
  if (!error.empty() || !format.is_object()) { return false; }

  info = media_info();
  info.container = format["format_name"].string_value();
  info.start = seconds(format["start_time"]);
  info.duration = duration(format["duration"]);
  info.duration_estimated = info.duration <= 0.0 || is_unclocked(info.container);
  info.bit_rate = std::max(0LL, std::atoll(format["bit_rate"].string_value().c_str()));
  read_streams(document["streams"], read_programs(document["programs"]), info);
  return true;
}

std::string engine_version(const std::string& report) {
  std::string error;
  return parse_json(report, error)["program_version"]["version"].string_value();
}
