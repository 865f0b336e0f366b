// The description of a media file: its streams that can be decoded, and its length.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/media/probe_depth.h"

// An exact ratio such as 24000/1001. A denominator of 0 means unknown.
struct rational {
  std::int64_t num = 0;
  std::int64_t den = 0;

  bool known() const { return num > 0 && den > 0; }
  double value() const { return known() ? double(num) / double(den) : 0.0; }
};

struct picture_size {
  int width = 0;
  int height = 0;
};

struct video_stream {
  int index = 0;             // of the file's streams, for -map
  std::string codec;         // ffmpeg's name of it
  std::string pixel_format;  // ffmpeg's name of it
  picture_size coded;        // as stored
  picture_size displayed;    // as seen by the viewer: after rotation, with square pixels
  rational sample_aspect;    // of a stored pixel, 1:1 where the file says nothing sensible
  int rotation = 0;          // to be applied for display, clockwise: 0, 90, 180 or 270 degrees
  rational frame_rate;       // frames a second, not fields; unknown for a still or a cover
  bool interlaced = false;
  bool bottom_first = false;  // of the two fields, where interlaced
  bool unmarked = false;      // interlaced by the looks of its pictures, none of which is marked so
  std::string transfer;       // colours as ffmpeg names them; empty if not declared
  std::string matrix;
  std::string primaries;
  bool cover = false;      // an attached picture of a sound file, no moving picture
  bool preferred = false;  // marked as default
  double start = 0.0;      // seconds on the file's own clock
  double duration = 0.0;   // seconds; 0 if the container does not declare it
  std::vector<int> programs;

  // True for PQ and HLG, which look wrong on an ordinary screen unless they are mapped.
  bool high_dynamic_range() const;
};

struct audio_stream {
  int index = 0;
  std::string codec;
  int channels = 0;
  bool layout_known = false;  // whether the file declares the positions of its channels
  int sample_rate = 0;
  std::string language;    // as the file names it; empty if not declared
  bool preferred = false;  // marked as default
  bool secondary = false;  // a commentary or a mix for the impaired
  double start = 0.0;
  double duration = 0.0;
  std::vector<int> programs;
};

// A declared stream without any data seen so far that shows how to decode it.
struct unclear_stream {
  int index = 0;
  bool sound = false;
  bool preferred = false;
  bool secondary = false;
  double start = 0.0;
  double duration = 0.0;
  std::vector<int> programs;
};

struct media_info {
  std::string container;            // ffmpeg's demuxer name, such as "mov,mp4,m4a,3gp,3g2,mj2"
  double start = 0.0;               // seconds; broadcast streams begin anywhere
  double duration = 0.0;            // seconds; 0 when unknown, as for a still
  bool duration_estimated = false;  // guessed from the bit rate or a clock that jumps: no yardstick
  bool still = false;         // a picture file: one stream in `video`, without rate and duration
  std::int64_t bit_rate = 0;  // bits a second; 0 when unknown
  std::vector<video_stream> video;
  std::vector<audio_stream> audio;
  std::vector<unclear_stream> unclear;
  probe_depth depth;  // how far the engine looked, and has to look, to know these streams

  // Whether its kind of container comes from broadcast, where a clock may jump in the middle.
  bool clock_may_jump() const;

  // The video stream worth showing: the largest that is not a cover picture. Null if there is none.
  const video_stream* picture() const;

  // The attached picture of a sound file; null when there is none.
  const video_stream* cover() const;

  // The sound that belongs to picture(): of the same broadcast program, the main one rather than
  // a commentary. Null when there is none.
  const audio_stream* sound() const;

  // The unclear stream that would be picture() or sound() if it were clear; null when there is
  // none.
  const unclear_stream* wanted() const;

  // The sound that is the right channel if sound() is the left one: the second mono track of a
  // recording that keeps each channel in a separate track. Null if there is none.
  const audio_stream* right_channel() const;
};
