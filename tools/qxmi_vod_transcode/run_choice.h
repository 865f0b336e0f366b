// Which engines make the segments of one output on this machine: how many at the same time, and
// which segments each of them.
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

// The bytes that programs can have without others being moved to the disk; 0 if that is not known.
std::uint64_t available_memory();

// What one engine of so many threads may take in memory, in bytes.
std::uint64_t memory_of_run(picture_size source, picture_size output, int threads);

// The run of a single engine that comes next, given the missing ranges of either kind. It makes
// both picture and sound only where both go on to the end, in segments; elsewhere what goes on to
// the end comes last.
segment_run next_run(const segment_plan& plan, const std::vector<segment_range>& pictures,
                     const std::vector<segment_range>& sounds, double warm_up);

// Divides these missing ranges among `at_once` engines, pictures in runs of `shortest` to 12
// segments and all of the sound in its own runs, which come first. The output has about `likely`
// picture segments; the last run goes on to its end.
std::deque<segment_run> divided(const std::vector<segment_range>& pictures,
                                const std::vector<segment_range>& sounds, std::int64_t likely,
                                int at_once, std::int64_t shortest, double warm_up);

// Shorter runs would spend much of their time on finding their place.
constexpr std::int64_t shortest_run = 6;  // segments
