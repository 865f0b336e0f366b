#include "tests/media/verdict.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace qx_test {
namespace {

constexpr double beat = 4.0;
constexpr int smallest_scene = 64;
// An encoder sometimes overshoots in carefully limited sound; clipped sound has hundreds.
constexpr int few_peaks = 10;

std::string decimals(double value, int places = 2) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", places, value);
  return text;
}

using notes = std::vector<std::string>;

void expect_text(notes& list, const char* what, const std::string& is, const std::string& wanted) {
  if (is != wanted) { list.push_back(std::string(what) + " '" + is + "', not '" + wanted + "'"); }
}

void expect_near(notes& list, const char* what, double is, double wanted, double tolerance) {
  if (std::fabs(is - wanted) <= tolerance) { return; }
  list.push_back(std::string(what) + " " + decimals(is) + ", not " + decimals(wanted));
}

std::vector<double> beats(double first, double end) {
  std::vector<double> times;
  for (double time = first; time < end - 0.2; time += beat) {
    times.push_back(time);
  }
  return times;
}

void check_beat(notes& list, const char* what, const std::vector<double>& times, double first,
                const expected_result& expected) {
  if (first < 0.0) { return; }
  const std::vector<double> wanted = beats(first, expected.seconds);
  if (times.size() != wanted.size()) {
    list.push_back(std::to_string(times.size()) + " " + what + ", not " +
                   std::to_string(wanted.size()));
    return;
  }
  for (std::size_t at = 0; at < wanted.size(); ++at) {
    if (std::fabs(times[at] - wanted[at]) <= expected.time_tolerance) { continue; }
    list.push_back(std::string(what) + " at " + decimals(times[at]) + " s, not " +
                   decimals(wanted[at]));
    return;
  }
}

// Browsers follow either matrix; other primaries they would map, and change the colours by it.
void check_colour_tags(notes& list, const measured_result& measured) {
  if (measured.matrix != "smpte170m") { expect_text(list, "matrix", measured.matrix, "bt709"); }
  expect_text(list, "primaries", measured.primaries, "bt709");
  expect_text(list, "transfer", measured.transfer, "bt709");
  expect_text(list, "range", measured.range, "tv");
}

void check_hues(notes& list, const measured_result& measured) {
  for (const flash& each : measured.pictures.flashes()) {
    for (std::size_t bar = 0; bar < bar_colours.size(); ++bar) {
      const rgb_colour shown = shown_colour(each.bars[bar], measured.matrix, measured.range);
      if (same_hue(shown, bar_colours[bar])) { continue; }
      list.push_back("bar " + std::to_string(bar + 1) + " is " + decimals(shown[0], 0) + "," +
                     decimals(shown[1], 0) + "," + decimals(shown[2], 0));
      return;
    }
  }
}

void check_colours(notes& list, const expected_result& expected, const measured_result& measured) {
  check_colour_tags(list, measured);
  if (expected.colours == colours_expected::hues) { check_hues(list, measured); }
  if (expected.colours != colours_expected::exact) { return; }
  const double error = colour_error(measured);
  if (error > expected.colour_tolerance) { list.push_back("colours off by " + decimals(error, 0)); }
}

void check_shape(notes& list, const char* what, const flash& at, double wanted) {
  expect_near(list, what, shape_of(at), wanted, wanted * shape_tolerance);
}

void check_scene(notes& list, const expected_result& expected, const measured_result& measured) {
  std::vector<double> times;
  for (const flash& each : measured.pictures.flashes()) {
    times.push_back(each.time);
  }
  check_beat(list, "flashes", times, expected.first_flash, expected);
  if (times.empty()) { return; }
  check_shape(list, "shape at start", measured.pictures.flashes().front(), expected.shape_at_start);
  check_shape(list, "shape at end", measured.pictures.flashes().back(), expected.shape_at_end);
  check_colours(list, expected, measured);
  const int combed = measured.pictures.combed_pictures();
  if (combed > 0) { list.push_back(std::to_string(combed) + " combed pictures"); }
}

double rate_value(const std::string& rate) {
  int num = 0;
  int den = 1;
  return std::sscanf(rate.c_str(), "%d/%d", &num, &den) == 2 && den > 0 ? double(num) / den : 0.0;
}

void check_picture(notes& list, const expected_result& expected, const measured_result& measured) {
  expect_text(list, "codec", measured.video_codec, "h264");
  expect_text(list, "pixels", measured.pixel_format, "yuv420p");
  expect_text(list, "size", std::to_string(measured.width) + "x" + std::to_string(measured.height),
              std::to_string(expected.width) + "x" + std::to_string(expected.height));
  expect_text(list, "pixel shape", measured.pixel_shape, "1:1");
  expect_text(list, "rate", measured.rate, expected.rate);
  expect_near(list, "picture's length", measured.picture_seconds, expected.seconds,
              length_tolerance);
  expect_near(list, "pictures decoded", measured.pictures.pictures(), measured.packets, 0.0);
  if (measured.longest_gap > 1.5 / rate_value(expected.rate)) {
    list.push_back("gap of " + decimals(measured.longest_gap) + " s between pictures");
  }
  if (expected.width >= smallest_scene) { check_scene(list, expected, measured); }
}

void check_sync(notes& list, const measured_result& measured) {
  for (const double late : sync_of(measured)) {
    if (std::fabs(late) <= sync_tolerance) { continue; }
    list.push_back("sound " + decimals(late * 1000.0, 0) + " ms late");
    return;
  }
}

void check_tracks(notes& list, const measured_result& measured) {
  if (measured.right_tone < 0.03) { list.push_back("second track is not on the right"); }
  if (measured.left_tone > measured.right_tone / 10.0) {
    list.push_back("second track on the left");
  }
}

void check_sound(notes& list, const expected_result& expected, const measured_result& measured,
                 double reference) {
  expect_text(list, "codec", measured.audio_codec, "aac");
  expect_near(list, "channels", measured.channels, 2, 0.0);
  expect_near(list, "sound's length", measured.sound_seconds, expected.seconds, length_tolerance);
  check_beat(list, "beeps", measured.beeps, expected.first_beep, expected);
  check_sync(list, measured);
  expect_near(list, "loudness", measured.loudness - reference, expected.louder,
              expected.loudness_tolerance);
  if (measured.clipped > few_peaks) {
    list.push_back(std::to_string(measured.clipped) + " clipped peaks");
  }
  if (expected.tracks == tracks_expected::apart) { check_tracks(list, measured); }
}

}  // namespace

std::vector<double> sync_of(const measured_result& measured) {
  std::vector<double> late;
  for (const flash& each : measured.pictures.flashes()) {
    const auto nearer = [&each](double one, double other) {
      return std::fabs(one - each.time) < std::fabs(other - each.time);
    };
    const auto beep = std::min_element(measured.beeps.begin(), measured.beeps.end(), nearer);
    if (beep == measured.beeps.end() || std::fabs(*beep - each.time) > 1.0) { continue; }
    late.push_back(*beep - each.time);
  }
  return late;
}

double colour_error(const measured_result& measured) {
  double largest = 0.0;
  for (const flash& each : measured.pictures.flashes()) {
    for (std::size_t bar = 0; bar < bar_colours.size(); ++bar) {
      const rgb_colour shown = shown_colour(each.bars[bar], measured.matrix, measured.range);
      largest = std::max(largest, distance(shown, bar_colours[bar]));
    }
  }
  return largest;
}

double shape_of(const flash& at) {
  return double(at.lit.width) / std::max(1, at.lit.height);
}

std::vector<std::string> deviations(const expected_result& expected,
                                    const measured_result& measured, double reference) {
  notes list;
  if (expected.has_picture()) {
    check_picture(list, expected, measured);
  } else if (!measured.video_codec.empty()) {
    list.push_back("has a picture");
  }
  if (expected.has_sound) {
    check_sound(list, expected, measured, reference);
  } else if (!measured.audio_codec.empty()) {
    list.push_back("has sound");
  }
  return list;
}

}  // namespace qx_test
