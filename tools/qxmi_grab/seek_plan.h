// How to come to a moment of a file, and which moments to try.
#pragma once

#include <random>
#include <vector>

#include "tools/media/media_info.h"

// How to reach a moment. Containers with an index are entered at the moment itself. Broadcast
// streams have no index, and the engine shows nothing before the next key frame: they are entered
// earlier, and everything before the moment is decoded and dropped. Bare streams do not even have a
// clock: they are read from the beginning.
struct seek_plan {
  double enter = 0.0;   // seconds from the file's beginning where reading starts
  double run_up = 0.0;  // seconds to drop from there
};

// The plan for `moment`, in seconds from the file's beginning, not below 0.
seek_plan plan_seek(const media_info& media, double moment);

// The part of a file that moments are chosen from, in seconds from its beginning.
struct time_window {
  double begin = 0.0;
  double end = 0.0;
};

// From 10 % to 90 % of the video, which may begin later and be shorter than the file. `duration` is
// the file's length if the stream does not declare one.
time_window moments_of(const media_info& media, const video_stream& picture, double duration);

// `count` moments, one out of each of as many equal parts of the window, in random order.
std::vector<double> scattered_moments(time_window window, int count, std::mt19937& random);
