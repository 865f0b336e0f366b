// A source as the transcoder sees it: the picture and the sound it will take, and their length.
#pragma once

#include "tools/common/media_info.h"

#include <optional>
#include <string>

struct source_media {
  std::optional<video_stream> picture;
  std::optional<audio_stream> sound;
  double duration = 0.0;          // seconds, of what is taken; always known and above 0
  double picture_duration = 0.0;  // seconds from the common beginning to the picture's end

  // Frames a second of the output: the source's own rate, within 1 to 60.
  rational frame_rate() const;
};

// What is to be taken of a source.
enum class source_parts { picture_and_sound, sound_alone };

// Probes `path` and measures the length of those parts of it where the file does not tell it. False
// with the cause in `error` in words that follow the file's name.
bool read_source_media(const std::string& path, source_parts parts, source_media& media,
                       std::string& error);
