// Each measurement of pictures finds its feature, and nothing in pictures without it.
#include <gmock/gmock.h>

#include "tests/media/picture_meter.h"

namespace {

using namespace qx_test;

constexpr int width = 64;
constexpr int height = 48;

class drawing {
public:
  drawing() : luma_(width * height, 16), cb_(width * height / 4, 128), cr_(cb_) {}

  drawing& fill(const picture_area& area, std::uint8_t value) {
    for (int y = area.top; y < area.top + area.height; ++y) {
      for (int x = area.left; x < area.left + area.width; ++x) {
        luma_[static_cast<std::size_t>(y * width + x)] = value;
      }
    }
    return *this;
  }
  drawing& everything(std::uint8_t value) { return fill({0, 0, width, height}, value); }
  // A post, its odd lines where it was a field before.
  drawing& post(int left, int moved) {
    for (int y = 0; y < height; ++y) {
      fill({left + (y % 2 == 0 ? 0 : moved), y, 8, 1}, 200);
    }
    return *this;
  }
  picture_view view() const { return {width, height, luma_.data(), cb_.data(), cr_.data()}; }

private:
  std::vector<std::uint8_t> luma_;
  std::vector<std::uint8_t> cb_;
  std::vector<std::uint8_t> cr_;
};

std::vector<double> flash_times(const picture_meter& meter) {
  std::vector<double> times;
  for (const flash& each : meter.flashes()) {
    times.push_back(each.time);
  }
  return times;
}

TEST(lit_area, is_the_whole_of_a_picture_without_black_edges) {
  const picture_area area = lit_area(drawing().everything(90).view());
  EXPECT_EQ(area.width, width);
  EXPECT_EQ(area.height, height);
}

TEST(lit_area, leaves_out_black_at_the_sides) {
  const picture_area area = lit_area(drawing().fill({8, 0, 40, height}, 90).view());
  EXPECT_EQ(area.left, 8);
  EXPECT_EQ(area.width, 40);
  EXPECT_EQ(area.height, height);
}

TEST(lit_area, leaves_out_black_above_and_below) {
  const picture_area area = lit_area(drawing().fill({0, 6, width, 36}, 90).view());
  EXPECT_EQ(area.top, 6);
  EXPECT_EQ(area.height, 36);
}

TEST(comb_share, is_over_the_limit_where_two_fields_are_woven) {
  EXPECT_GT(comb_share(drawing().post(28, 4).view()), comb_limit);
}

TEST(comb_share, is_zero_for_a_motionless_post) {
  EXPECT_EQ(comb_share(drawing().post(28, 0).view()), 0.0);
}

TEST(comb_share, is_zero_for_a_slanted_edge) {
  drawing slanted;
  for (int y = 0; y < height; ++y) {
    slanted.fill({8 + y, y, 8, 1}, 200);
  }
  EXPECT_EQ(comb_share(slanted.view()), 0.0);
}

TEST(picture_meter, counts_pictures_with_combs) {
  const drawing woven = drawing().post(28, 4);
  picture_meter meter;
  meter.add(0.00, drawing().post(28, 0).view());
  meter.add(0.04, drawing().post(28, 0).view());
  meter.add(0.08, woven.view());
  meter.add(0.12, woven.view());
  EXPECT_EQ(meter.pictures(), 4);
  EXPECT_EQ(meter.combed_pictures(), 2);
}

TEST(picture_meter, finds_when_each_flash_begins) {
  picture_meter meter;
  for (int number = 0; number < 50; ++number) {
    const bool bright = (number >= 10 && number < 15) || (number >= 40 && number < 45);
    meter.add(number / 25.0, drawing().everything(bright ? 235 : 100).view());
  }
  EXPECT_THAT(flash_times(meter), testing::ElementsAre(10 / 25.0, 40 / 25.0));
}

TEST(picture_meter, does_not_mistake_a_slow_change_of_light_for_a_flash) {
  picture_meter meter;
  for (int number = 0; number < 40; ++number) {
    meter.add(number / 25.0,
              drawing().everything(static_cast<std::uint8_t>(50 + number * 5)).view());
  }
  EXPECT_TRUE(meter.flashes().empty());
}

TEST(picture_meter, reads_the_bars_of_the_second_bright_picture) {
  drawing first;
  first.everything(235);
  drawing second = first;
  second.fill({0, 36, width, 12}, 120);
  picture_meter meter;
  meter.add(0.00, drawing().everything(100).view());
  meter.add(0.04, first.view());
  meter.add(0.08, second.view());
  ASSERT_EQ(meter.flashes().size(), 1U);
  EXPECT_NEAR(meter.flashes()[0].time, 0.04, 1e-9);
  EXPECT_NEAR(meter.flashes()[0].bars[3].y, 120.0, 0.5);
}

}  // namespace
