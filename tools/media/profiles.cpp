#include "tools/media/profiles.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace {

struct profile {
  int height;
  int peak_kbit;
};

// Best first.
constexpr profile profiles[] = {
    {2160, 16000}, {1440, 9000}, {1080, 5000}, {720, 3000},
    {576, 2000},   {480, 1500},  {360, 900},   {240, 500},
};

constexpr int highest = 8192;
constexpr double fast_motion = 31.0;  // frames a second

int made_even(int side) {
  return std::max(2, side - side % 2);
}

}  // namespace

std::vector<std::string> picture_profiles(picture_size displayed, int max_height) {
  std::vector<std::string> names;
  for (const profile& known : profiles) {
    const bool wanted = max_height <= 0 || known.height <= max_height;
    if (wanted && known.height <= displayed.height) {
      names.push_back(std::to_string(known.height));
    }
  }
  if (names.empty()) { names.push_back(std::to_string(made_even(displayed.height))); }
  return names;
}

bool offers_profile(picture_size displayed, const std::string& name) {
  const std::vector<std::string> names = picture_profiles(displayed, 0);
  const bool is_listed = std::find(names.begin(), names.end(), name) != names.end();
  return is_listed || name == std::to_string(made_even(displayed.height));
}

int profile_height(const std::string& name) {
  const bool digits = !name.empty() && name.size() <= 4 &&
                      name.find_first_not_of("0123456789") == std::string::npos;
  const int height = digits ? std::stoi(name) : 0;
  return height >= 2 && height <= highest ? height : 0;
}

picture_size output_size(picture_size displayed, int height) {
  const int lines = made_even(std::min(height, displayed.height));
  const double width = double(displayed.width) * lines / displayed.height;
  const int nearest_even = 2 * static_cast<int>(std::lround(width / 2.0));
  return {std::min(std::max(2, nearest_even), made_even(displayed.width)), lines};
}

int peak_bit_rate(int height, double frame_rate) {
  int kbit = profiles[0].peak_kbit;
  for (const profile& known : profiles) {
    if (known.height >= height) { kbit = known.peak_kbit; }
  }
  return frame_rate > fast_motion ? kbit * 3 / 2 : kbit;
}
