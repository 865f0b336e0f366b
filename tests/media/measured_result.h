// The measurements of a transcode's result.
#pragma once

#include <string>
#include <vector>

#include "tests/media/picture_meter.h"
#include "tests/media/sound_meter.h"

namespace qx_test {

struct measured_result {
  std::string video_codec;  // empty without such a stream
  std::string pixel_format;
  std::string audio_codec;
  int channels = 0;
  int width = 0;
  int height = 0;
  std::string pixel_shape;  // "1:1"
  std::string rate;         // "25/1"
  std::string matrix;       // ffprobe's words
  std::string primaries;
  std::string transfer;
  std::string range;
  double picture_seconds = 0.0;  // from the first picture's begin to the last one's end
  double sound_seconds = 0.0;
  double longest_gap = 0.0;  // between two pictures
  int packets = 0;           // pictures that the file holds; `pictures` has those that were decoded
  picture_meter pictures;
  std::vector<double> beeps;
  int clipped = 0;
  double loudness = -99.0;  // LUFS
  double left_tone = 0.0;   // amplitudes of 2 kHz, the second track's own
  double right_tone = 0.0;
};

// Measures `path`, which holds pictures and sound or one of them. False with the cause in `error`
// when it cannot be read.
bool measure_result(const std::string& path, measured_result& result, std::string& error);

// The integrated loudness of a file's sound in LUFS; -99 when it has none.
double loudness_of(const std::string& path);

}  // namespace qx_test
