// How many engines shall make the segments of one output at the same time on this machine.
#pragma once

#include <cstdint>
#include <deque>
#include <vector>

#include "tools/media/media_info.h"
#include "tools/qxmi_vod_transcode/segment_commands.h"
#include "tools/qxmi_vod_transcode/segment_plan.h"

struct run_conditions {
  int processors = 1;             // that may be used
  std::uint64_t free_memory = 0;  // bytes
  picture_size source;
  picture_size output;
  std::int64_t missing = 0;  // picture segments, more or less
};

// The smallest number that comes near the best: one engine leaves processors idle, the more the
// smaller its pictures are, but each further one takes memory and has to find its place in the
// source. 1 or more.
int runs_at_once(const run_conditions& conditions);

// What one engine of so many threads may take in memory, in bytes.
std::uint64_t memory_of_run(picture_size source, picture_size output, int threads);

// Divides these missing ranges among `at_once` engines, pictures in runs of `shortest` to 12
// segments and all of the sound in its own runs, which come first. The output has about `likely`
// picture segments; the last run goes on to its end.
std::deque<segment_run> divided(const std::vector<segment_range>& pictures,
                                const std::vector<segment_range>& sounds, std::int64_t likely,
                                int at_once, std::int64_t shortest, double warm_up);

// Shorter runs would spend much of their time on finding their place.
constexpr std::int64_t shortest_run = 6;  // segments
