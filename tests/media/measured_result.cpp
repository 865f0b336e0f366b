#include "tests/media/measured_result.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include <json11.hpp>

#include "tests/media/child_output.h"

namespace qx_test {
namespace {

using json11::Json;

constexpr double no_loudness = -99.0;

std::vector<std::string> engine(const std::string& path, const std::string& more) {
  std::vector<std::string> words = {"ffmpeg",   "-nostdin", "-v", "error",       "-copyts",
                                    "-threads", "1",        "-i", "file:" + path};
  std::istringstream stream(more);
  for (std::string word; stream >> word;) {
    words.push_back(word);
  }
  return words;
}

void take_picture_stream(const Json& stream, measured_result& result) {
  result.video_codec = stream["codec_name"].string_value();
  result.pixel_format = stream["pix_fmt"].string_value();
  result.width = stream["width"].int_value();
  result.height = stream["height"].int_value();
  result.pixel_shape = stream["sample_aspect_ratio"].string_value();
  result.rate = stream["r_frame_rate"].string_value();
  result.matrix = stream["color_space"].string_value();
  result.primaries = stream["color_primaries"].string_value();
  result.transfer = stream["color_transfer"].string_value();
  result.range = stream["color_range"].string_value();
}

bool probe(const std::string& path, measured_result& result) {
  const child_result report =
      run_child({"ffprobe", "-v", "error", "-of", "json", "-show_streams", "-i", "file:" + path});
  std::string error;
  const Json document = Json::parse(report.output, error);
  if (report.status != 0 || !error.empty()) { return false; }
  for (const Json& stream : document["streams"].array_items()) {
    if (stream["codec_type"] == "video") { take_picture_stream(stream, result); }
    if (stream["codec_type"] == "audio") {
      result.audio_codec = stream["codec_name"].string_value();
      result.channels = stream["channels"].int_value();
    }
  }
  return true;
}

// When each picture is shown, in that order.
std::vector<double> picture_times(const std::string& path) {
  const child_result report =
      run_child({"ffprobe", "-v", "error", "-of", "csv=p=0", "-select_streams", "v:0",
                 "-show_entries", "packet=pts_time", "-i", "file:" + path});
  std::istringstream stream(report.output);
  std::vector<double> times;
  for (std::string line; std::getline(stream, line);) {
    if (!line.empty()) { times.push_back(std::atof(line.c_str())); }
  }
  std::sort(times.begin(), times.end());
  return times;
}

void measure_lengths(const std::vector<double>& times, measured_result& result) {
  result.packets = static_cast<int>(times.size());
  if (times.size() < 2) { return; }
  for (std::size_t at = 1; at < times.size(); ++at) {
    result.longest_gap = std::max(result.longest_gap, times[at] - times[at - 1]);
  }
  const double one = (times.back() - times.front()) / double(times.size() - 1);
  result.picture_seconds = times.back() - times.front() + one;
}

bool measure_pictures(const std::string& path, measured_result& result) {
  const std::vector<double> times = picture_times(path);
  measure_lengths(times, result);
  const int pixels = result.width * result.height;
  const auto size = static_cast<std::size_t>(pixels) * 3 / 2;
  std::size_t at = 0;
  const auto take = [&](const std::uint8_t* bytes) {
    if (at >= times.size()) { return; }
    result.pictures.add(times[at++], {result.width, result.height, bytes, bytes + pixels,
                                      bytes + pixels + pixels / 4});
  };
  return read_blocks(engine(path, "-an -vsync passthrough -f rawvideo -pix_fmt yuv420p -"), size,
                     take) == 0;
}

struct two_channels {
  samples left;
  samples right;
};

// As a player hears it: silence where the file has none, from the file's own zero.
two_channels decoded_sound(const std::string& path) {
  two_channels sound;
  const auto take = [&sound](const std::uint8_t* bytes) {
    float pair[2];
    std::memcpy(pair, bytes, sizeof pair);
    sound.left.push_back(pair[0]);
    sound.right.push_back(pair[1]);
  };
  read_blocks(engine(path, "-vn -af aresample=48000:async=1:min_hard_comp=0.02:first_pts=0 "
                           "-ac 2 -f f32le -"),
              2 * sizeof(float), take);
  return sound;
}

void measure_sound(const std::string& path, measured_result& result) {
  constexpr double second_track = 2000.0;
  const two_channels sound = decoded_sound(path);
  result.sound_seconds = double(sound.left.size()) / sound_rate;
  result.beeps = beep_times(sound.left);
  result.clipped = clipped_runs(sound.left) + clipped_runs(sound.right);
  result.left_tone = usual_tone(sound.left, second_track);
  result.right_tone = usual_tone(sound.right, second_track);
  result.loudness = loudness_of(path);
}

}  // namespace

double loudness_of(const std::string& path) {
  const child_result report =
      run_child({"ffmpeg", "-nostdin", "-hide_banner", "-nostats", "-i", "file:" + path, "-map",
                 "0:a:0", "-af", "ebur128=framelog=verbose", "-f", "null", "-"},
                true);
  const std::size_t summary = report.errors.rfind("Summary:");
  const std::size_t at = report.errors.find("I:", summary);
  if (report.status != 0 || summary == std::string::npos || at == std::string::npos) {
    return no_loudness;
  }
  return std::atof(report.errors.c_str() + at + 2);
}

bool measure_result(const std::string& path, measured_result& result, std::string& error) {
  if (!probe(path, result)) {
    error = "the result cannot be read";
  } else if (!result.video_codec.empty() && !measure_pictures(path, result)) {
    error = "the result's pictures cannot be decoded";
  } else if (!result.audio_codec.empty()) {
    measure_sound(path, result);
  }
  return error.empty();
}

}  // namespace qx_test
