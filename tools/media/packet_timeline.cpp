#include "tools/media/packet_timeline.h"

#include <algorithm>
#include <cmath>

namespace {

// How far a packet may lie before its due time without being a jump backwards.
constexpr double overlap = 0.1;

}  // namespace

void packet_timeline::add(int stream, const packet_times& packet) {
  stream_state& state = streams_[stream];
  ++state.packets;
  const bool untimed = std::isnan(packet.shown) && std::isnan(packet.decoded);
  if (untimed) { return; }
  const double raw = std::isnan(packet.decoded) ? packet.shown : packet.decoded;
  const double shift = shift_for(state, raw + shift_);
  has_jumped_ = has_jumped_ || shift != 0.0;
  shift_ += shift;
  const double decoded = raw + shift_;
  const double shown = std::isnan(packet.shown) ? decoded : packet.shown + shift_;
  const double duration = std::isnan(packet.duration) ? 0.0 : packet.duration;
  if (state.timed) { state.longest_step = std::max(state.longest_step, decoded - state.last); }
  state.first = state.timed ? std::min(state.first, shown) : shown;
  state.end = state.timed ? std::max(state.end, shown + duration) : shown + duration;
  state.last = decoded;
  state.next = decoded + duration;
  state.timed = true;
  last_ = decoded;
  begun_ = true;
}

// The offset to add to `time` so that it continues the preceding packets.
double packet_timeline::shift_for(const stream_state& state, double time) {
  if (!clock_may_jump_ || !begun_) { return 0.0; }
  if (!state.timed) { return std::fabs(time - last_) > jump ? last_ - time : 0.0; }
  const double step = time - state.next;
  if (step > jump && others_went_on(state, time)) {
    longest_pause_ = std::max(longest_pause_, step);
    return 0.0;
  }
  const bool jumped = std::fabs(step) > jump || time + overlap < state.last;
  return jumped ? -step : 0.0;
}

bool packet_timeline::others_went_on(const stream_state& state, double time) const {
  return std::any_of(streams_.begin(), streams_.end(), [&](const auto& entry) {
    const stream_state& other = entry.second;
    return &other != &state && other.timed && other.last > state.next + overlap &&
           std::fabs(other.last - time) < jump;
  });
}

bool packet_timeline::end_of(int stream, double& end) const {
  const auto found = streams_.find(stream);
  if (found == streams_.end() || !found->second.timed) { return false; }
  end = found->second.end;
  return true;
}

double packet_timeline::end_of_later_streams(double time) const {
  double latest = time;
  for (const auto& [index, state] : streams_) {
    if (state.timed && state.first >= time) { latest = std::max(latest, state.end); }
  }
  return latest;
}

long packet_timeline::packets(int stream) const {
  const auto found = streams_.find(stream);
  return found == streams_.end() ? 0 : found->second.packets;
}

double packet_timeline::longest_step(int stream) const {
  const auto found = streams_.find(stream);
  return found == streams_.end() ? 0.0 : found->second.longest_step;
}

double packet_timeline::length_of(int stream, double frame_rate) const {
  const auto found = streams_.find(stream);
  if (found == streams_.end()) { return 0.0; }
  const stream_state& state = found->second;
  if (state.timed) { return state.end - state.first; }
  return frame_rate > 0.0 ? static_cast<double>(state.packets) / frame_rate : 0.0;
}
