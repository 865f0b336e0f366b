#include "tools/qxmi_vod_transcode/run_choice.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>
#include <string>

namespace {

// The share of an engine's work that only one processor can do, as measured with two processors:
// there, an engine used 73 % of both for 360 lines and 87 % for 1080 lines.
constexpr double small_pixels = 640.0 * 360;
constexpr double large_pixels = 1920.0 * 1080;
constexpr double small_serial_share = 0.37;
constexpr double large_serial_share = 0.15;

// What is left of the gain when the number of engines doubles: two of them were 8 % faster than one
// where 15 % were free, and 28 % where 37 % were.
constexpr double left_by_doubling = 0.94;

// How near to the best is near enough.
constexpr double near_the_best = 0.9;

constexpr std::int64_t least_segments = 12;  // for each engine
constexpr std::int64_t longest_run = 12;

// An encoder looks so many frames ahead, and has a few for each thread in two formats.
constexpr double frames_ahead = 50.0;
constexpr double decoded_frames = 20.0;
constexpr double bytes_of_output_pixel = 3.0;
constexpr double bytes_of_source_pixel = 3.0;
constexpr double memory_of_program = 128e6;

double pixels_of(picture_size size) {
  return static_cast<double>(size.width) * size.height;
}

double serial_share(picture_size output) {
  const double place = std::log(std::max(1.0, pixels_of(output)) / small_pixels) /
                       std::log(large_pixels / small_pixels);
  const double within = std::min(1.0, std::max(0.0, place));
  return small_serial_share + within * (large_serial_share - small_serial_share);
}

// How many processors' worth of work so many engines do.
double speed_of(int runs, int processors, double serial) {
  const double own = static_cast<double>(processors) / runs;
  const double one = 1.0 / (serial + (1.0 - serial) / own);
  return runs * one * std::pow(left_by_doubling, std::log2(runs));
}

int most_runs(const run_conditions& conditions) {
  const auto by_segments = static_cast<int>(
      std::min<std::int64_t>(conditions.processors, conditions.missing / least_segments));
  int runs = 1;
  while (runs < by_segments) {
    const int threads = (conditions.processors + runs) / (runs + 1);
    const std::uint64_t each = memory_of_run(conditions.source, conditions.output, threads);
    // The other half is for the rest of the machine, and for what is kept of the source.
    if (each * static_cast<std::uint64_t>(runs + 1) > conditions.free_memory / 2) { break; }
    ++runs;
  }
  return runs;
}

// The first one; an empty one if there is none.
segment_range first_of(const std::vector<segment_range>& ranges) {
  return ranges.empty() ? segment_range{0, 0} : ranges.front();
}

void add_pictures(std::deque<segment_run>& runs, segment_range range, double warm_up) {
  segment_run run;
  run.pictures = range;
  run.sounds = {0, 0};
  run.warm_up = warm_up;
  runs.push_back(run);
}

}  // namespace

std::uint64_t available_memory() {
  std::ifstream file("/proc/meminfo");
  std::string name;
  std::uint64_t kilobytes = 0;
  for (std::string line; std::getline(file, line);) {
    std::istringstream words(line);
    if (words >> name >> kilobytes && name == "MemAvailable:") { return kilobytes * 1024; }
  }
  return 0;
}

std::uint64_t memory_of_run(picture_size source, picture_size output, int threads) {
  const double encoded = pixels_of(output) * bytes_of_output_pixel * (frames_ahead + 2.0 * threads);
  const double decoded = pixels_of(source) * bytes_of_source_pixel * (decoded_frames + threads);
  return static_cast<std::uint64_t>(memory_of_program + encoded + decoded);
}

int runs_at_once(const run_conditions& conditions) {
  const double serial = serial_share(conditions.output);
  const int most = most_runs(conditions);
  double best = 0.0;
  for (int runs = 1; runs <= most; ++runs) {
    best = std::max(best, speed_of(runs, conditions.processors, serial));
  }
  int runs = 1;
  while (speed_of(runs, conditions.processors, serial) < near_the_best * best) {
    ++runs;
  }
  return runs;
}

segment_run next_run(const segment_plan& plan, const std::vector<segment_range>& pictures,
                     const std::vector<segment_range>& sounds, double warm_up) {
  segment_run run;
  run.warm_up = warm_up;
  run.pictures = first_of(pictures);
  if (plan.packets == 0) { return run; }
  run.sounds = first_of(sounds);
  const bool together = run.pictures.is_open() && run.sounds.is_open() && !plan.sound_is_whole;
  if (together || !run.has_pictures()) { return run; }
  if (run.pictures.is_open() && run.has_sound(plan)) {
    run.pictures = {0, 0};
  } else {
    run.sounds = {0, 0};
  }
  return run;
}

std::deque<segment_run> divided(const std::vector<segment_range>& pictures,
                                const std::vector<segment_range>& sounds, std::int64_t likely,
                                int at_once, std::int64_t shortest, double warm_up) {
  std::deque<segment_run> runs;
  for (const segment_range& range : sounds) {
    segment_run run;
    run.pictures = {0, 0};
    run.sounds = range;
    run.warm_up = warm_up;
    runs.push_back(run);
  }
  const std::int64_t length =
      std::clamp(likely / (std::int64_t{3} * at_once), shortest, longest_run);
  for (const segment_range& range : pictures) {
    const std::int64_t end = range.is_open() ? std::max(likely, range.first + 1) : range.end;
    std::int64_t first = range.first;
    // The last one may be up to twice as long: an end that comes early is still in it.
    for (; end - first >= 2 * length; first += length) {
      add_pictures(runs, {first, first + length}, warm_up);
    }
    add_pictures(runs, {first, range.end}, warm_up);
  }
  return runs;
}
