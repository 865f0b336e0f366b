// Looks at a result before it gets its name.
#pragma once

#include <string>

#include "tools/media/media_info.h"
#include "tools/qxmi_vod_transcode/encode_failure.h"
#include "tools/qxmi_vod_transcode/source_media.h"

// How far a stream of the result may be longer or shorter than the source's, in seconds.
double length_tolerance(double duration);

// How many frames the streams of a result must have exactly; 0 where that is not known.
struct frame_counts {
  long picture = 0;
  long sound = 0;
};

// True if the file at `result` is a correct transcode of the source at `source`: it opens, has the
// streams of `media` and no others, the video has `size`, and each stream begins at the beginning,
// is as long as the source's, and has a frame for each moment and no gap. If the source's container
// may be wrong about a length that differs, the source is measured (and `media` changed) before the
// decision. Its streams have `counts` frames. Else false with the failure.
bool verify_result(const std::string& result, const std::string& source, picture_size size,
                   source_media& media, encode_failure& failure, frame_counts counts = {});

// The measurements of one stream of the result, on which the verdict is based.
struct made_stream {
  double begin = 0.0;         // seconds
  double end = 0.0;           // seconds
  double longest_step = 0.0;  // seconds between two frames
  long frames = 0;
};

// The fault in the video or the audio of a result, in words that follow the source's name; empty if
// there is none. `expected` is the source's length in seconds, 0 if unknown.
std::string picture_fault(const made_stream& made, double expected, double frame_rate);
std::string sound_fault(const made_stream& made, double expected);
