// Measures the pictures of a result: when they flash, where in the frame the scene is, the colours
// of its bars, and combs.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "tests/media/colour.h"

namespace qx_test {

// A picture in planar 4:2:0, 8 bits; the planes are valid during the call alone.
struct picture_view {
  int width = 0;  // even, as is the height
  int height = 0;
  const std::uint8_t* luma = nullptr;
  const std::uint8_t* cb = nullptr;
  const std::uint8_t* cr = nullptr;
};

// A part of a picture in pixels.
struct picture_area {
  int left = 0;
  int top = 0;
  int width = 0;
  int height = 0;
};

// The part that is not black, whose edges are straight; empty when all is black.
picture_area lit_area(const picture_view& picture);

// The share of pixels in the middle of the picture, 0 to 1, that lie in a comb: lines that agree
// with the next but one and differ from those between.
double comb_share(const picture_view& picture);

// More than this is a comb that a viewer sees: clean pictures have a tenth, woven ones ten times
// it.
constexpr double comb_limit = 0.01;

struct flash {
  double time = 0.0;  // seconds
  picture_area lit;
  std::array<luma_colour, bar_count> bars;
};

class picture_meter {
public:
  // Pictures in the order in which they are shown.
  void add(double time, const picture_view& picture);

  const std::vector<flash>& flashes() const { return flashes_; }
  int pictures() const { return pictures_; }
  int combed_pictures() const { return combed_; }
  double worst_comb() const { return worst_comb_; }

private:
  bool is_flash(double brightness);

  std::vector<flash> flashes_;
  int pictures_ = 0;
  int combed_ = 0;
  int bright_in_a_row_ = 0;
  double flash_brightness_ = 0.0;
  double last_brightness_ = 255.0;  // a stream that begins bright does not begin with a flash
  double worst_comb_ = 0.0;
};

}  // namespace qx_test
