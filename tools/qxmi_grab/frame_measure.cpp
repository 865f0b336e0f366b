#include "tools/qxmi_grab/frame_measure.h"

#include <cmath>
#include <cstddef>

namespace {

constexpr double darkest = 28.0;
constexpr double least_contrast = 8.0;

constexpr std::size_t width = measured_width;
constexpr std::size_t height = measured_height;

// Mean and variance of numbers seen one after the other.
class statistics {
public:
  void add(double value) {
    sum_ += value;
    squares_ += value * value;
    ++count_;
  }
  double mean() const { return sum_ / static_cast<double>(count_); }
  double variance() const {
    const double squared_mean = mean() * mean();
    return std::fmax(0.0, squares_ / static_cast<double>(count_) - squared_mean);
  }

private:
  double sum_ = 0.0;
  double squares_ = 0.0;
  std::size_t count_ = 0;
};

int point(std::string_view grey, std::size_t at) {
  return static_cast<unsigned char>(grey[at]);
}

double edge_variance(std::string_view grey) {
  statistics edges;
  for (std::size_t y = 1; y + 1 < height; ++y) {
    for (std::size_t x = 1; x + 1 < width; ++x) {
      const std::size_t at = y * width + x;
      const int around = point(grey, at - 1) + point(grey, at + 1) + point(grey, at - width) +
                         point(grey, at + width);
      edges.add(4 * point(grey, at) - around);
    }
  }
  return edges.variance();
}

}  // namespace

bool frame_measure::black() const {
  return brightness < darkest;
}

bool frame_measure::usable() const {
  return !black() && contrast >= least_contrast;
}

bool measure_frame(std::string_view grey, frame_measure& measure) {
  if (grey.size() != width * height) { return false; }
  statistics light;
  for (std::size_t at = 0; at < grey.size(); ++at) {
    light.add(point(grey, at));
  }
  measure = {light.mean(), std::sqrt(light.variance()), edge_variance(grey)};
  return true;
}
