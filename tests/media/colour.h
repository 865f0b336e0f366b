// Colours as a browser shows them: luma and colour differences turned into RGB by a file's tags.
#pragma once

#include <array>
#include <string>

namespace qx_test {

struct luma_colour {
  double y = 0.0;  // 0 to 255, as coded
  double cb = 0.0;
  double cr = 0.0;
};

using rgb_colour = std::array<double, 3>;  // 0 to 255

// `matrix` and `range` are ffprobe's words (bt709, smpte170m, bt470bg; tv, pc); a matrix that it
// does not know is taken for bt709, and any range but pc for tv.
rgb_colour shown_colour(const luma_colour& coded, const std::string& matrix,
                        const std::string& range);

// The colours of the scene's bars, from the left to the right.
constexpr int bar_count = 7;
extern const std::array<rgb_colour, bar_count> bar_colours;

// The largest difference of any of the three parts.
double distance(const rgb_colour& one, const rgb_colour& other);

// True if the bar's hue is recognisable: each channel that should be strong is at least twice as
// strong as each that should not. For pictures mapped from a larger range, whose levels are a
// matter of taste.
bool same_hue(const rgb_colour& shown, const rgb_colour& bar);

}  // namespace qx_test
