// A source as the transcoder sees it: the picture and the sound it will take, and their lengths.
#pragma once

#include <optional>
#include <string>

#include "tools/media/media_info.h"

struct source_media {
  std::optional<video_stream> picture;
  std::optional<audio_stream> sound;
  std::optional<audio_stream> right;  // the right channel, where `sound` is a left one alone
  std::string container;
  probe_depth depth;
  double beginning = 0.0;  // where the result begins, on the source's own clock

  double duration = 0.0;          // seconds, of the used streams; always known and above 0
  double picture_duration = 0.0;  // seconds from the common beginning to the picture's end
  double sound_duration = 0.0;    // the same of the sound; 0 when it is not known
  bool picture_told = false;      // the container declares the length of the video stream
  bool measured = false;          // these lengths come from the packets, not from the container

  // How much of the sound precedes the video, in seconds, if it is less than a frame: usually the
  // encoder delay of the sound. The result begins with the video.
  double lead = 0.0;

  // In containers from broadcast, whose clock may jump: a step of the clock above this many seconds
  // is a jump to be closed. 0 in all others.
  double jump_limit = 0.0;

  // Frames a second of the output: the source's own rate, within 1 to 60. Above that it is divided
  // by a whole number, so that every frame of the output is one of the source.
  rational frame_rate() const;
};

// What has been measured of a source, as the same fields of source_media.
struct measured_lengths {
  double all = 0.0;
  double picture = 0.0;
  double sound = 0.0;
  double jump_limit = 0.0;
};

// Nothing if nothing was.
std::optional<measured_lengths> lengths_of(const source_media& media);

// Which streams of a source are used.
enum class source_parts { picture_and_sound, sound_alone };

// Probes `path` and measures the length of the parts whose declared length is missing or cannot be
// trusted, unless they are `known`. False with the cause in `error` in words that follow the file's
// name.
bool read_source_media(const std::string& path, source_parts parts, source_media& media,
                       std::string& error, const std::optional<measured_lengths>& known = {});

// Measures the lengths of `media`, as read_source_media() found it at `path`, by reading all
// packets. Only lengths that the container does not declare, or declares by a clock that may jump,
// are replaced. False with the cause in `error`, and `interrupted` as of probe_media().
bool measure_lengths(const std::string& path, source_media& media, std::string& error,
                     bool* interrupted = nullptr);
