// How an engine reads a file.
#pragma once

#include <cstdint>

// How far an engine reads to recognise the streams, and which data it treats as one stream.
struct probe_depth {
  std::int64_t bytes = 10'000'000;
  int seconds = 10;

  // Whether a stream that its program moves to another packet identifier remains the same one.
  // Only for transport streams: ffmpeg refuses it with any other file, ffprobe ignores it there.
  bool follow_program = false;
};
