#include "tools/qxmi_grab/picture_shape.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace {

constexpr rational wide_screen = {16, 9};

// JPEG could hold four times as much; a picture this wide is a strip that nobody looks at.
constexpr int largest_width = 16384;

// More digits than any height has, few enough for an int.
constexpr std::size_t most_digits = 9;

int nearest_even(double value) {
  return std::max(2, 2 * static_cast<int>(std::lround(value / 2.0)));
}

int part_of(int length, double share) {
  return std::max(1, static_cast<int>(std::lround(length * share)));
}

// Cuts off the excess over the ratio `wanted`, width by height: at the sides or at top and bottom.
picture_size cut_to(picture_size whole, double shown, double wanted) {
  if (shown > wanted) {
    whole.width = nearest_even(whole.width * wanted / shown);
  } else {
    whole.height = nearest_even(whole.height * shown / wanted);
  }
  return whole;
}

picture_size scaled_down(picture_size size, double share) {
  const double least = std::min(1.0, share);
  return {nearest_even(size.width * least), nearest_even(size.height * least)};
}

}  // namespace

int height_from_text(const std::string& text) {
  const bool digits = !text.empty() && text.size() <= most_digits &&
                      std::all_of(text.begin(), text.end(),
                                  [](unsigned char character) { return std::isdigit(character); });
  const int height = digits ? std::stoi(text) : 0;
  return height > 0 ? height : default_height;
}

picture_shape shape_of(const video_stream& source, int height, bool clip) {
  const double shown = double(source.displayed.width) / double(source.displayed.height);
  const double wanted = clip ? wide_screen.value() : shown;
  picture_shape shape;
  shape.made.height = std::min(height, source.displayed.height);
  shape.made.width = nearest_even(shape.made.height * wanted);
  if (shape.made.width > largest_width) {
    shape.made = {largest_width, part_of(largest_width, 1.0 / wanted)};
  }
  const picture_size cut = cut_to(source.displayed, shown, wanted);
  shape.whole = scaled_down(source.displayed, double(shape.made.height) / cut.height);
  shape.taken = cut_to(shape.whole, shown, wanted);
  return shape;
}

picture_size drawing_size(int height) {
  const int lines = std::min(height, largest_height);
  return {nearest_even(lines * wide_screen.value()), lines};
}
