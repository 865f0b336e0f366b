// How a long transcode is divided into segments, each of which survives an interruption.
#pragma once

#include <cstdint>
#include <string>

#include "tools/qxmi_vod_transcode/encode_parts.h"

// Sound packets of 1024 samples at 48 kHz, as the encoder makes them.
constexpr int sound_packet_samples = 1024;
constexpr int sound_output_rate = 48000;

// How many packets an encoder of sound that starts in the middle makes first, to be thrown away: by
// then it sounds like one that has worked from the beginning.
constexpr std::int64_t sound_lead_packets = 60;

// The beginnings of all segments are in one argument of the engine, which the kernel limits.
constexpr std::int64_t most_segments_named = 9000;

// How many groups of pictures an encoder that starts in the middle makes first, to be thrown away,
// so that its buffer and its choice of frame types are those of one that has worked from the
// beginning. It begins with a full buffer; after one group, one that works at the highest rate
// still has too much of that, or has already paid too much back.
constexpr int picture_lead_groups = 2;

// The segments from `first` to before `end`, or to the end of the output.
struct segment_range {
  static constexpr std::int64_t open = -1;  // as `end`

  std::int64_t first = 0;
  std::int64_t end = open;

  bool is_open() const { return end == open; }
  bool is_empty() const { return end == first; }
};

// Picture and sound have segments of their own, of nearly the same length, numbered from 0. The
// last ones are shorter, and how many there are is known only when the engine has made them. Sound
// whose time stamps jump is made as a whole instead: it is one segment of any length.
struct segment_plan {
  rational rate;             // frames of the output a second
  std::int64_t frames = 0;   // in a picture segment, whole groups of pictures
  std::int64_t packets = 0;  // in a sound segment; 0 without sound
  bool sound_is_whole = false;

  // The first frame of a picture segment, and the first packet of a sound segment.
  std::int64_t first_frame(std::int64_t segment) const { return segment * frames; }
  std::int64_t first_packet(std::int64_t segment) const { return segment * packets; }

  // The time of a frame, and of the beginning of a picture segment, in microseconds, rounded from
  // the exact time, so that errors do not add up.
  std::int64_t frame_time_us(std::int64_t frame) const;
  std::int64_t picture_time_us(std::int64_t segment) const {
    return frame_time_us(first_frame(segment));
  }

  // How many frames an encoder throws away before the first one of a picture segment.
  std::int64_t lead_frames(std::int64_t segment) const;

  // How many packets an encoder throws away before the first one of a sound segment, and when the
  // first of those begins, in whole microseconds.
  std::int64_t lead_packets(std::int64_t segment) const;
  std::int64_t sound_start_us(std::int64_t segment) const;

  // At least as many segments as an output of `seconds` can have.
  std::int64_t most_segments(double seconds) const;
};

// `seconds` is the length of a segment, at least that of a group of pictures; `longest` is the
// number of seconds after which the output is cut off.
segment_plan plan_segments(const source_media& media, int seconds, double longest);

// Whether the transcode of such a source can continue in the middle: it has a picture, takes
// `shortest` seconds or more, and its container can be read from any place on one clock.
bool can_be_cut(const source_media& media, int shortest);
