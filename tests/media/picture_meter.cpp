#include "tests/media/picture_meter.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace qx_test {
namespace {

// A flash is a jump, whatever white is mapped to, and lasts until it is dark again.
constexpr double flash_jump = 40.0;
constexpr double flash_wane = 20.0;
constexpr double steady_light = 12.0;
constexpr double black_limit = 28.0;

double mean(const std::uint8_t* plane, int stride, const picture_area& area) {
  double sum = 0.0;
  for (int y = area.top; y < area.top + area.height; ++y) {
    const std::uint8_t* line = plane + static_cast<std::ptrdiff_t>(y) * stride;
    for (int x = area.left; x < area.left + area.width; ++x) {
      sum += line[x];
    }
  }
  return sum / std::max(1, area.width * area.height);
}

// Inside the landscape whatever black edges there are.
picture_area landscape(const picture_view& picture) {
  return {picture.width * 3 / 10, picture.height * 28 / 100, picture.width * 4 / 10,
          picture.height * 24 / 100};
}

struct span {
  int first = 0;
  int count = 0;
};

span lit_span(const std::vector<double>& means) {
  const auto lit = [](double value) { return value > black_limit; };
  const auto first = std::find_if(means.begin(), means.end(), lit);
  const auto last = std::find_if(means.rbegin(), means.rend(), lit);
  if (first == means.end()) { return {}; }
  return {static_cast<int>(first - means.begin()), static_cast<int>(last.base() - first)};
}

// The middle of a bar, where the encoder does not smear the edges.
picture_area bar_area(const picture_area& scene, int number) {
  const double width = double(scene.width) / bar_count;
  return {scene.left + static_cast<int>(width * (number + 0.3)),
          scene.top + static_cast<int>(scene.height * 0.84),
          std::max(1, static_cast<int>(width * 0.4)),
          std::max(1, static_cast<int>(scene.height * 0.1))};
}

picture_area halved(const picture_area& area) {
  return {area.left / 2, area.top / 2, std::max(1, area.width / 2), std::max(1, area.height / 2)};
}

flash measured_flash(double time, const picture_view& picture) {
  flash result;
  result.time = time;
  result.lit = lit_area(picture);
  for (int number = 0; number < bar_count; ++number) {
    const picture_area area = bar_area(result.lit, number);
    luma_colour& bar = result.bars[static_cast<std::size_t>(number)];
    bar.y = mean(picture.luma, picture.width, area);
    bar.cb = mean(picture.cb, picture.width / 2, halved(area));
    bar.cr = mean(picture.cr, picture.width / 2, halved(area));
  }
  return result;
}

// Four lines, one above the other: the odd ones agree, the even ones agree, and they differ.
bool is_comb(int a, int b, int c, int d) {
  constexpr int alike = 12;
  constexpr int different = 20;
  return std::abs(a - c) <= alike && std::abs(b - d) <= alike && std::abs(a - b) >= different &&
         std::abs(b - c) >= different && std::abs(c - d) >= different;
}

}  // namespace

picture_area lit_area(const picture_view& picture) {
  std::vector<double> rows(static_cast<std::size_t>(picture.height));
  std::vector<double> columns(static_cast<std::size_t>(picture.width));
  for (int y = 0; y < picture.height; ++y) {
    rows[static_cast<std::size_t>(y)] = mean(picture.luma, picture.width, {0, y, picture.width, 1});
  }
  for (int x = 0; x < picture.width; ++x) {
    columns[static_cast<std::size_t>(x)] =
        mean(picture.luma, picture.width, {x, 0, 1, picture.height});
  }
  const span across = lit_span(columns);
  const span down = lit_span(rows);
  return {across.first, down.first, across.count, down.count};
}

double comb_share(const picture_view& picture) {
  const picture_area area = landscape(picture);
  int combed = 0;
  for (int y = area.top; y + 3 < area.top + area.height; ++y) {
    const std::uint8_t* line = picture.luma + static_cast<std::ptrdiff_t>(y) * picture.width;
    for (int x = area.left; x < area.left + area.width; ++x) {
      const std::uint8_t* at = line + x;
      combed += is_comb(at[0], at[picture.width], at[2 * picture.width], at[3 * picture.width]);
    }
  }
  return double(combed) / std::max(1, area.width * (area.height - 3));
}

bool picture_meter::is_flash(double brightness) {
  if (bright_in_a_row_ > 0) { return brightness > flash_brightness_ - flash_wane; }
  flash_brightness_ = brightness;
  return brightness > last_brightness_ + flash_jump;
}

void picture_meter::add(double time, const picture_view& picture) {
  const double brightness = mean(picture.luma, picture.width, landscape(picture));
  const bool bright = is_flash(brightness);
  bright_in_a_row_ = bright ? bright_in_a_row_ + 1 : 0;
  // The second picture is measured, since the first may still contain a field of the previous one.
  if (bright_in_a_row_ == 1) { flashes_.push_back(measured_flash(time, picture)); }
  if (bright_in_a_row_ == 2) { flashes_.back() = measured_flash(flashes_.back().time, picture); }
  // Where the light changes, a comb says nothing of movement.
  if (std::fabs(brightness - last_brightness_) < steady_light && !bright) {
    const double share = comb_share(picture);
    worst_comb_ = std::max(worst_comb_, share);
    combed_ += share > comb_limit ? 1 : 0;
  }
  last_brightness_ = brightness;
  ++pictures_;
}

}  // namespace qx_test
