#include "tools/media/time_budget.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "platform/cpu.h"
#include "tools/media/tool_config.h"

namespace {

using std::chrono::seconds;

// More than a year: no budget needs it, and no clock overflows by it.
constexpr double longest = 4e7;

seconds rounded(double time) {
  return seconds(static_cast<seconds::rep>(std::ceil(std::clamp(time, 1.0, longest))));
}

// The slowest that a disk or a network share may be, and a reader of packets, in bytes per second.
// A small file may consist of packets of a few bytes.
constexpr double slowest_disk = 1e6;
constexpr double slowest_reader = 5e6;

// A probe of usual depth takes a tenth of a second. But the tools run with the lowest priority.
constexpr double probe_passed = 300.0;
constexpr double probe_processor = 12.0;
constexpr double reading_passed = 1800.0;

// Many times what a slow processor needs, in seconds.
constexpr double encoding_of_frame = 0.02;
constexpr double encoding_of_pixel = 0.5e-6;
constexpr double encoding_of_second_of_sound = 0.5;
constexpr double start_of_encoder = 300.0;

// An encoder of the lowest priority on a busy machine, or within a small share of it.
constexpr double slowest_encoder = 1000.0;  // seconds for a second
constexpr double delay_of_encoder = 6 * 3600.0;

// In bytes per second; speech at 32 kbit/s.
constexpr double thinnest_sound = 4000.0;

double longest_sound(std::uint64_t data_bytes) {
  return std::min(static_cast<double>(data_bytes) / thinnest_sound,
                  configured().longest_hours * 3600.0);
}

}  // namespace

time_budget probe_budget(const probe_depth& depth) {
  const auto bytes = static_cast<double>(depth.bytes);
  return {rounded(probe_passed + bytes / slowest_disk),
          rounded(probe_processor + bytes / slowest_reader)};
}

time_budget reading_budget(std::uint64_t data_bytes) {
  const auto bytes = static_cast<double>(data_bytes);
  return {rounded(reading_passed + bytes / slowest_disk),
          rounded(probe_processor + bytes / slowest_reader)};
}

time_budget picture_budget(seconds passed) {
  return {passed, passed * static_cast<seconds::rep>(how_many_cpus())};
}

time_budget sound_budget(double duration, std::uint64_t data_bytes) {
  const double length = duration > 0.0 ? duration : longest_sound(data_bytes);
  return {rounded(reading_passed + length / 10.0), rounded(60.0 + length / 20.0)};
}

time_budget encoding_budget(double frames, double pixels, double duration) {
  const double processor = start_of_encoder +
                           frames * (encoding_of_frame + pixels * encoding_of_pixel) +
                           duration * encoding_of_second_of_sound;
  return {rounded(delay_of_encoder + duration * slowest_encoder), rounded(processor)};
}

void set_budget(program_request& request, const time_budget& budget) {
  assert(request.confined_to.has_value());
  request.time_limit = budget.passed;
  request.confined_to->processor_time = budget.processor;
}
