// The engine's command line for one transcode, built from fixed settings and numbers only.
#pragma once

#include "tools/common/engine.h"
#include "tools/common/media_info.h"
#include "tools/qxmi_vod_transcode/source_media.h"

#include <string>

struct encode_settings {
  picture_size size;      // of the output; unused without a picture
  int threads = 1;        // for decoding, filters and encoding each
  bool tone_map = false;  // map a high dynamic range to the ordinary one
  double time_limit = 0;  // seconds of output after which the engine ends
};

// The whole command for reading `input_url` and writing `output_url`, with the progress report on
// standard output.
argument_list encode_command(const source_media& media, const encode_settings& settings,
                             const std::string& input_url, const std::string& output_url);

// The chain of filters for the picture: one progressive frame for each frame of the source, at a
// constant rate from time 0 on, of `size` with square pixels, 8 bit 4:2:0.
std::string picture_filters(const source_media& media, const encode_settings& settings);

// True when the engine has the filters that tone mapping needs.
bool engine_can_tone_map();
