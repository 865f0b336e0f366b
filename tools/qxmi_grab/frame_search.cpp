#include "tools/qxmi_grab/frame_search.h"

#include <algorithm>
#include <chrono>

#include "tools/media/process_runner.h"
#include "tools/media/time_budget.h"
#include "tools/media/tool_signals.h"

namespace {

using clock_type = std::chrono::steady_clock;

// First a few moments; when all of those are black, as in a film of mostly black, enough to hit
// any part that is longer than a fifteenth of the film.
constexpr int rounds[] = {8, 24};

constexpr std::chrono::seconds frame_time_limit{30};

// After which the best of what was seen has to do: pictures may be enormous.
constexpr std::chrono::seconds search_time_limit{45};

// A blurred frame has a third of the sharpness of a sharp one or less; two sharp frames of
// different scenes may well differ by half.
constexpr double sharp_share = 0.5;

bool measure_moment(const source_file& file, const picture_source& source, frame_measure& measure) {
  program_request request = confined_request(measure_command(source), file);
  set_budget(request, picture_budget(frame_time_limit));
  return measure_frame(run_program(request).output, measure);
}

bool has_usable(const std::vector<candidate>& candidates) {
  return std::any_of(candidates.begin(), candidates.end(),
                     [](const candidate& one) { return one.measure.usable(); });
}

// Whether `one` is the better of two that are both black or flat.
bool less_bad(const frame_measure& one, const frame_measure& other) {
  if (one.black() != other.black()) { return other.black(); }
  return one.black() ? one.brightness > other.brightness : one.contrast > other.contrast;
}

double greatest_sharpness(const std::vector<candidate>& candidates) {
  double greatest = 0.0;
  for (const candidate& one : candidates) {
    if (one.measure.usable()) { greatest = std::max(greatest, one.measure.sharpness); }
  }
  return greatest;
}

}  // namespace

const candidate* best_candidate(const std::vector<candidate>& candidates) {
  const double enough = sharp_share * greatest_sharpness(candidates);
  const candidate* fallback = nullptr;
  for (const candidate& one : candidates) {
    if (one.measure.usable() && one.measure.sharpness >= enough) { return &one; }
    if (fallback == nullptr || less_bad(one.measure, fallback->measure)) { fallback = &one; }
  }
  return fallback;
}

std::optional<double> find_moment(const source_file& file, const media_info& media,
                                  const video_stream& stream, time_window window,
                                  std::mt19937& random) {
  const clock_type::time_point deadline = clock_type::now() + search_time_limit;
  std::vector<candidate> candidates;
  for (const int count : rounds) {
    for (const double moment : scattered_moments(window, count, random)) {
      if (stop_signal() != 0 || clock_type::now() > deadline) { break; }
      frame_measure measure;
      const picture_source source = {file.url(), stream, plan_seek(media, moment), media.depth};
      if (measure_moment(file, source, measure)) { candidates.push_back({moment, measure}); }
    }
    if (candidates.empty() || has_usable(candidates)) { break; }
  }
  const candidate* best = best_candidate(candidates);
  return best != nullptr ? std::optional<double>(best->moment) : std::nullopt;
}
