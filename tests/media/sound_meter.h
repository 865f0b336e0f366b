// Measures the sound of a result: when it beeps, tones, level, clipping.
#pragma once

#include <cstdint>
#include <vector>

namespace qx_test {

constexpr int sound_rate = 48000;  // samples a second of everything here

// One channel, samples from -1 to 1.
using samples = std::vector<float>;

// The amplitude of a tone of that frequency in the samples from `first` on; 0 without samples.
double tone_amplitude(const samples& sound, double frequency, std::size_t first, std::size_t count);

// The same over all of it, as the middle of windows of a tenth of a second.
double usual_tone(const samples& sound, double frequency);

// When tones of 1 kHz begin, in seconds; within 5 ms.
std::vector<double> beep_times(const samples& sound);

// How many times the sound stays at the end of its scale for three samples or more.
int clipped_runs(const samples& sound);

}  // namespace qx_test
