// Looks at a result before it gets its name.
#pragma once

#include <string>

#include "tools/media/media_info.h"
#include "tools/qxmi_vod_transcode/source_media.h"

// How far a stream of the result may be longer or shorter than the source's, in seconds.
double length_tolerance(double duration);

// True when the file at `result` is what was to be made of the source at `source`: it opens, has
// the streams of `media` and no others, the picture of `size`, and each stream begins at the
// beginning, is as long as the source's, has a frame for each moment and no gap. Where the
// source's container may be wrong about a length that differs, the source is measured (and `media`
// changed) before it is judged. Else false with the cause in `error`, in words that follow the
// source's name.
bool verify_result(const std::string& result, const std::string& source, picture_size size,
                   source_media& media, std::string& error);

// The judgement alone, of what is known of one stream of the result.
struct made_stream {
  double begin = 0.0;         // seconds
  double end = 0.0;           // seconds
  double longest_step = 0.0;  // seconds between two frames
  long frames = 0;
};

// What is wrong with the picture or the sound of a result, in words that follow the source's name;
// empty when it is right. `expected` is the source's length in seconds, 0 when it is not known.
std::string picture_fault(const made_stream& made, double expected, double frame_rate);
std::string sound_fault(const made_stream& made, double expected);
