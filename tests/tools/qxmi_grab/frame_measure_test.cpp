// The measurements of a frame.
#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include "tools/qxmi_grab/frame_measure.h"

namespace {

constexpr std::size_t frame_size = std::size_t{measured_width} * measured_height;

frame_measure measured(const std::string& grey) {
  frame_measure measure;
  EXPECT_TRUE(measure_frame(grey, measure));
  return measure;
}

frame_measure flat(char value) {
  return measured(std::string(frame_size, value));
}

// Upright stripes whose edges are `softness` points wide.
frame_measure stripes(double softness) {
  std::string grey(frame_size, '\0');
  for (std::size_t at = 0; at < grey.size(); ++at) {
    const double wave = std::sin(static_cast<double>(at % measured_width) / 10.0);
    grey[at] = static_cast<char>(128.0 + 100.0 * std::tanh(wave * 10.0 / softness));
  }
  return measured(grey);
}

}  // namespace

TEST(frame_measure, a_black_frame_is_of_no_use) {
  EXPECT_TRUE(flat(0).black());
  EXPECT_TRUE(flat(20).black());
  EXPECT_FALSE(flat(20).usable());
}

TEST(frame_measure, a_flat_frame_is_of_no_use_but_not_black) {
  const frame_measure measure = flat(120);
  EXPECT_FALSE(measure.black());
  EXPECT_FALSE(measure.usable());
  EXPECT_DOUBLE_EQ(measure.brightness, 120.0);
  EXPECT_DOUBLE_EQ(measure.contrast, 0.0);
  EXPECT_DOUBLE_EQ(measure.sharpness, 0.0);
}

TEST(frame_measure, white_is_brighter_than_black) {
  EXPECT_DOUBLE_EQ(flat('\xff').brightness, 255.0);
}

TEST(frame_measure, stripes_are_of_use) {
  EXPECT_TRUE(stripes(1.0).usable());
}

TEST(frame_measure, soft_edges_have_less_than_half_the_sharpness) {
  EXPECT_LT(stripes(6.0).sharpness, stripes(1.0).sharpness / 2.0);
}

TEST(frame_measure, half_a_frame_is_none) {
  frame_measure measure;
  EXPECT_FALSE(measure_frame(std::string(frame_size / 2, 'x'), measure));
  EXPECT_FALSE(measure_frame("", measure));
}
