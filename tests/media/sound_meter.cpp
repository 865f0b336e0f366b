#include "tests/media/sound_meter.h"

#include <algorithm>
#include <cmath>

namespace qx_test {
namespace {

constexpr double pi = 3.14159265358979323846;
constexpr double beep_frequency = 1000.0;
constexpr double faintest_beep = 0.01;
constexpr std::size_t window = sound_rate / 100;
constexpr std::size_t hop = window / 4;
// Between two beeps there is more silence than this, within one there is less.
constexpr double pause_between = 0.1;

std::vector<double> beep_envelope(const samples& sound) {
  std::vector<double> envelope;
  for (std::size_t at = 0; at + window <= sound.size(); at += hop) {
    envelope.push_back(tone_amplitude(sound, beep_frequency, at, window));
  }
  return envelope;
}

double middle_of_window(std::size_t number) {
  return (double(number * hop) + double(window) / 2.0) / sound_rate;
}

}  // namespace

double tone_amplitude(const samples& sound, double frequency, std::size_t first,
                      std::size_t count) {
  const std::size_t end = std::min(sound.size(), first + count);
  if (end <= first) { return 0.0; }
  double along = 0.0;
  double across = 0.0;
  for (std::size_t at = first; at < end; ++at) {
    const double phase = 2.0 * pi * frequency * double(at - first) / sound_rate;
    along += sound[at] * std::cos(phase);
    across += sound[at] * std::sin(phase);
  }
  return 2.0 * std::hypot(along, across) / double(end - first);
}

double usual_tone(const samples& sound, double frequency) {
  std::vector<double> levels;
  for (std::size_t at = 0; at < sound.size(); at += sound_rate / 10) {
    levels.push_back(tone_amplitude(sound, frequency, at, sound_rate / 10));
  }
  if (levels.empty()) { return 0.0; }
  const auto middle = levels.begin() + static_cast<std::ptrdiff_t>(levels.size() / 2);
  std::nth_element(levels.begin(), middle, levels.end());
  return *middle;
}

std::vector<double> beep_times(const samples& sound) {
  const std::vector<double> envelope = beep_envelope(sound);
  if (envelope.empty()) { return {}; }
  const double loudest = *std::max_element(envelope.begin(), envelope.end());
  if (loudest < faintest_beep) { return {}; }
  std::vector<double> times;
  double last_loud = -1.0;
  for (std::size_t number = 0; number < envelope.size(); ++number) {
    if (envelope[number] < loudest / 2.0) { continue; }
    const double time = middle_of_window(number);
    if (last_loud < 0.0 || time - last_loud > pause_between) { times.push_back(time); }
    last_loud = time;
  }
  return times;
}

int clipped_runs(const samples& sound) {
  int runs = 0;
  int in_a_row = 0;
  for (const float value : sound) {
    in_a_row = std::fabs(value) >= 0.999F ? in_a_row + 1 : 0;
    runs += in_a_row == 3 ? 1 : 0;
  }
  return runs;
}

}  // namespace qx_test
