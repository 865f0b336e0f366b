// What a file with a segment holds, judged without an engine.
#pragma once

#include <cstdint>
#include <string>

struct segment_content {
  std::uint64_t bytes = 0;
  std::uint64_t sum = 0;    // see content_sum
  std::int64_t frames = 0;  // pictures or packets of sound
  std::string description;  // of a picture segment: a sum of what a decoder needs to know first
};

// Reads the file, which may be anything, from the beginning to the end. False if it is no complete
// MP4 file with one stream, or no whole packets of ADTS. Its pictures and samples are not decoded.
bool read_picture_segment(int file, segment_content& content);
bool read_sound_segment(int file, segment_content& content);
bool read_whole_sound(int file, segment_content& content);  // an MP4 file
