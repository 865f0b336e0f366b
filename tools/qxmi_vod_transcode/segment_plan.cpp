#include "tools/qxmi_vod_transcode/segment_plan.h"

#include <algorithm>
#include <cmath>
#include <string_view>

namespace {

constexpr std::int64_t microseconds = 1000000;

// Three packets last 64 ms: with that many together every sound segment begins at a whole number of
// microseconds, which the engine's options can express.
constexpr std::int64_t packets_together = 3;

constexpr std::string_view cut_containers[] = {"mov,mp4,m4a,3gp,3g2,mj2", "mpegts", "matroska,webm",
                                               "mxf"};

// a * b / c, rounded to the nearest.
std::int64_t scaled(std::int64_t a, std::int64_t b, std::int64_t c) {
  __extension__ using wide = __int128;
  return static_cast<std::int64_t>((static_cast<wide>(a) * b + c / 2) / c);
}

}  // namespace

std::int64_t segment_plan::frame_time_us(std::int64_t frame) const {
  return scaled(frame, rate.den * microseconds, rate.num);
}

std::int64_t segment_plan::lead_frames(std::int64_t segment) const {
  return std::min(first_frame(segment), picture_lead_groups * key_frame_distance(rate));
}

std::int64_t segment_plan::lead_packets(std::int64_t segment) const {
  return std::min(first_packet(segment), sound_lead_packets);
}

std::int64_t segment_plan::sound_start_us(std::int64_t segment) const {
  return scaled(first_packet(segment) - lead_packets(segment), sound_packet_samples * microseconds,
                sound_output_rate);
}

std::int64_t segment_plan::most_segments(double seconds) const {
  const double picture = seconds * rate.value() / static_cast<double>(frames);
  const double packet_rate = double(sound_output_rate) / sound_packet_samples;
  const double sound = packets > 0 ? seconds * packet_rate / static_cast<double>(packets) : 0.0;
  return static_cast<std::int64_t>(std::ceil(std::max(picture, sound))) + 1;
}

segment_plan plan_segments(const source_media& media, int seconds, double longest) {
  segment_plan plan;
  plan.rate = media.frame_rate();
  plan.frames = key_frame_distance(plan.rate) * std::max(1, seconds / key_frame_seconds);
  while (plan.most_segments(longest) > most_segments_named) {
    plan.frames *= 2;
  }
  if (!media.sound) { return plan; }
  const std::int64_t nearest =
      scaled(plan.picture_time_us(1), sound_output_rate, sound_packet_samples * microseconds);
  plan.packets = std::max<std::int64_t>(1, nearest / packets_together) * packets_together;
  return plan;
}

bool can_be_cut(const source_media& media, int shortest) {
  const bool known = std::find(std::begin(cut_containers), std::end(cut_containers),
                               media.container) != std::end(cut_containers);
  // A clock that had to be measured jumps.
  const bool one_clock = media.jump_limit <= 0.0 || !media.measured;
  return media.picture && known && one_clock && media.picture_duration >= shortest;
}
