// The engine's command lines: a frame to be measured, a frame as JPEG, a drawing of a sound.
#pragma once

#include <string>

#include "tools/media/engine.h"
#include "tools/media/media_info.h"
#include "tools/qxmi_grab/picture_shape.h"
#include "tools/qxmi_grab/seek_plan.h"

// The engine's quantizer scale, 1 the best to 31, for a JPEG quality of 1 to 100 as people know it
// from the usual JPEG encoder: both give tables of the same mean step. 100 is 1, 95 is 1, 90 is 3,
// 75 is 7, 50 is 14, and 22 and below are 31.
int quantizer_scale(int jpeg_quality);

// Where the picture comes from.
struct picture_source {
  std::string url;
  video_stream stream;
  seek_plan seek;
  probe_depth depth;  // with which the stream was found
};

// Writes one grey frame of the measured size to standard output, or nothing when there is none at
// that moment.
argument_list measure_command(const picture_source& source);

// The form of the finished picture.
struct picture_target {
  std::string url;
  picture_shape shape;
  int quality = 75;        // 1 to 100
  bool map_light = false;  // map the source's range or gamut to that of a JPEG
};

// Writes one JPEG; an empty file when there is no frame at that moment.
argument_list picture_command(const picture_source& source, const picture_target& target);

// Draws the wave form of the stream `sound_index` over its whole length as one JPEG.
argument_list drawing_command(const std::string& source_url, int sound_index,
                              const picture_target& target);
