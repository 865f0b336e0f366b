#include "tools/qxmi_grab/seek_plan.h"

#include <algorithm>
#include <string_view>

namespace {

// Longer than the distance between key frames in broadcasting, which is seldom above 5 s.
constexpr double broadcast_run_up = 10.0;

constexpr double first_share = 0.1;
constexpr double last_share = 0.9;

constexpr std::string_view broadcast_containers[] = {"mpegts", "mpeg"};
constexpr std::string_view bare_streams[] = {"h264", "hevc", "mpegvideo"};

template <std::size_t count>
bool is_one_of(const std::string& container, const std::string_view (&names)[count]) {
  return std::find(std::begin(names), std::end(names), container) != std::end(names);
}

}  // namespace

seek_plan plan_seek(const media_info& media, double moment) {
  if (is_one_of(media.container, bare_streams)) { return {0.0, moment}; }
  const bool broadcast = is_one_of(media.container, broadcast_containers);
  const double run_up = broadcast ? std::min(moment, broadcast_run_up) : 0.0;
  return {moment - run_up, run_up};
}

time_window moments_of(const media_info& media, const video_stream& picture, double duration) {
  const double length = picture.duration > 0.0 ? picture.duration : duration;
  const double late = std::max(0.0, picture.start - media.start);
  const double begin = late < length ? late : 0.0;
  return {begin + length * first_share, begin + length * last_share};
}

std::vector<double> scattered_moments(time_window window, int count, std::mt19937& random) {
  const double part = (window.end - window.begin) / count;
  std::uniform_real_distribution<double> within(0.0, 1.0);
  std::vector<double> moments;
  moments.reserve(static_cast<std::size_t>(count));
  for (int n = 0; n < count; ++n) {
    moments.push_back(window.begin + part * (n + within(random)));
  }
  std::shuffle(moments.begin(), moments.end(), random);
  return moments;
}
