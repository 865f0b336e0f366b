#include "tests/media/colour.h"

#include <algorithm>
#include <cmath>

namespace qx_test {
namespace {

struct weights {
  double red;
  double blue;
};

weights weights_of(const std::string& matrix) {
  if (matrix == "smpte170m" || matrix == "bt470bg") { return {0.299, 0.114}; }
  if (matrix == "bt2020nc") { return {0.2627, 0.0593}; }
  return {0.2126, 0.0722};
}

double limited(double value) {
  return std::clamp(value, 0.0, 255.0);
}

constexpr double strong = 191.0;

}  // namespace

const std::array<rgb_colour, bar_count> bar_colours = {{{strong, strong, strong},
                                                        {strong, strong, 0.0},
                                                        {0.0, strong, strong},
                                                        {0.0, strong, 0.0},
                                                        {strong, 0.0, strong},
                                                        {strong, 0.0, 0.0},
                                                        {0.0, 0.0, strong}}};

rgb_colour shown_colour(const luma_colour& coded, const std::string& matrix,
                        const std::string& range) {
  const bool full = range == "pc";
  const double y = full ? coded.y : (coded.y - 16.0) * 255.0 / 219.0;
  const double scale = full ? 1.0 : 255.0 / 224.0;
  const double cb = (coded.cb - 128.0) * scale;
  const double cr = (coded.cr - 128.0) * scale;
  const weights w = weights_of(matrix);
  const double red = y + 2.0 * (1.0 - w.red) * cr;
  const double blue = y + 2.0 * (1.0 - w.blue) * cb;
  const double green = (y - w.red * red - w.blue * blue) / (1.0 - w.red - w.blue);
  return {limited(red), limited(green), limited(blue)};
}

double distance(const rgb_colour& one, const rgb_colour& other) {
  double largest = 0.0;
  for (std::size_t part = 0; part < one.size(); ++part) {
    largest = std::max(largest, std::fabs(one[part] - other[part]));
  }
  return largest;
}

bool same_hue(const rgb_colour& shown, const rgb_colour& bar) {
  double weakest_strong = 255.0;
  double strongest_weak = 0.0;
  for (std::size_t part = 0; part < bar.size(); ++part) {
    if (bar[part] > 0.0) {
      weakest_strong = std::min(weakest_strong, shown[part]);
    } else {
      strongest_weak = std::max(strongest_weak, shown[part]);
    }
  }
  return weakest_strong >= 100.0 && weakest_strong >= 2.0 * strongest_weak;
}

}  // namespace qx_test
