// The expected result for a source of the media matrix.
#pragma once

#include <string>
#include <vector>

namespace qx_test {

enum class colours_expected {
  none,   // too small to see
  exact,  // within colour_tolerance of the bars
  hues,   // mapped from a larger range: the hues are right, the levels a matter of taste
};

enum class tracks_expected { any, apart };  // apart: the second track's tone is on the right alone

struct expected_result {
  std::string source;
  std::string profile;
  int width = 320;  // 0 for sound alone
  int height = 240;
  std::string rate = "25/1";
  double seconds = 12.0;     // of each stream
  double first_flash = 1.0;  // then every 4 s; below 0: anywhere
  double first_beep = 1.0;
  bool has_sound = true;
  double shape_at_start = 4.0 / 3.0;  // of the visible picture, without black edges
  double shape_at_end = 4.0 / 3.0;
  colours_expected colours = colours_expected::exact;
  double colour_tolerance = 3.0;  // of 255
  tracks_expected tracks = tracks_expected::any;
  double louder = 0.0;  // than the scene's sound in both channels, in LU
  double loudness_tolerance = 1.0;
  double time_tolerance = 0.06;  // of flashes against the source's clock, seconds
  bool in_short_form = false;
  bool on_one_clock = true;   // else it cannot be made in segments, whatever its container
  bool decodes_alike = true;  // else the engine conceals its damage a little otherwise in each run

  bool has_picture() const { return width > 0; }
  // Whether an interrupted transcode of it must be resumed: it can be read from any place, and is
  // long enough to be interrupted.
  bool is_resumable() const;
};

// All of the matrix, in the order of the table.
const std::vector<expected_result>& all_expected();

}  // namespace qx_test
