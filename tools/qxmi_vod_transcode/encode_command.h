// The engine's command line for one transcode, built from fixed settings and numbers only.
#pragma once

#include <cstdint>
#include <string>

#include "tools/media/engine.h"
#include "tools/media/media_info.h"
#include "tools/media/time_budget.h"
#include "tools/qxmi_vod_transcode/source_media.h"

constexpr int sound_bit_rate = 160;  // kbit/s

struct encode_settings {
  picture_size size;       // of the output; unused without a picture
  int threads = 1;         // for decoding, filters and encoding each
  bool map_light = false;  // map a high dynamic range or a wide gamut to the ordinary one
  double time_limit = 0;   // seconds of output after which the engine ends
};

// The whole command for reading `input_url` and writing `output_url`, with the progress report on
// standard output.
argument_list encode_command(const source_media& media, const encode_settings& settings,
                             const std::string& input_url, const std::string& output_url);

// What the engine may take for it.
time_budget encode_budget(const source_media& media, const encode_settings& settings);

// How many bytes such an output has, more or less.
std::uint64_t expected_output(const source_media& media, const encode_settings& settings);

// More bytes than such an output can have: its rates are limited, and so is its length.
std::uint64_t largest_output(const source_media& media, const encode_settings& settings);
