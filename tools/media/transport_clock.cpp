#include "tools/media/transport_clock.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int places = 100;
constexpr std::size_t place_size = std::size_t{512} * 1024;
constexpr std::size_t packet_size = 188;
constexpr std::size_t packet_spacings[] = {188, 192, 204};
constexpr std::size_t packets_in_step = 5;
constexpr unsigned char sync_byte = 0x47;
constexpr std::int64_t clock_range = std::int64_t{1} << 33;
constexpr double clock_rate = 90000.0;

// Within one place the clock is due every 100 ms; a splice shows as far more.
constexpr double longest_pause = 2.0;

// By then all programs have shown their clocks.
constexpr double last_new_clock = 1.0;

// How much slower than usual the data may come between two places.
constexpr double usual_variation = 2.0;

struct clock_sample {
  off_t position = 0;
  std::int64_t ticks = 0;
};

using bytes = std::vector<unsigned char>;

bool in_step(const bytes& data, std::size_t at, std::size_t spacing) {
  for (std::size_t n = 0; n < packets_in_step; ++n) {
    const std::size_t next = at + n * spacing;
    if (next >= data.size() || data[next] != sync_byte) { return false; }
  }
  return true;
}

bool find_packets(const bytes& data, std::size_t& at, std::size_t& spacing) {
  for (at = 0; at < data.size(); ++at) {
    for (const std::size_t candidate : packet_spacings) {
      spacing = candidate;
      if (in_step(data, at, spacing)) { return true; }
    }
  }
  return false;
}

// The clock is in the adaptation field: its flag, then 33 bits of 90 kHz.
bool read_clock(const unsigned char* packet, std::int64_t& ticks) {
  const bool has_field = (packet[3] & 0x20U) != 0 && packet[4] >= 7;
  if (packet[0] != sync_byte || !has_field || (packet[5] & 0x10U) == 0) { return false; }
  ticks = 0;
  for (int n = 6; n < 10; ++n) {
    ticks = ticks << 8 | packet[n];
  }
  ticks = ticks << 1 | packet[10] >> 7;
  return true;
}

// One clock, followed from place to place.
class followed_clock {
public:
  // False when it cannot have come from the sample before by running on.
  bool take(const clock_sample& sample, bool same_place) {
    bool even = true;
    if (begun_) { even = same_place ? take_near(sample) : take_far(sample); }
    last_ = sample;
    begun_ = true;
    return even;
  }

  // How long it was seen to run, within the places.
  double seconds_seen() const { return near_seconds_; }

  // Whether the steps between the places agree with the rate within them.
  bool steps_agree() const {
    if (near_bytes_ <= 0.0) { return far_.empty(); }
    const double usual = near_seconds_ / near_bytes_;
    return std::all_of(far_.begin(), far_.end(), [&](const far_step& step) {
      return step.seconds <= usual_variation * step.bytes * usual + longest_pause;
    });
  }

private:
  struct far_step {
    double seconds;
    double bytes;
  };

  // The clock runs over after 26.5 hours; a step of more than half of that is one backwards.
  bool step_from_last(const clock_sample& sample, far_step& step) const {
    const std::int64_t ticks = (sample.ticks - last_.ticks + clock_range) % clock_range;
    step.seconds = static_cast<double>(ticks) / clock_rate;
    step.bytes = static_cast<double>(sample.position - last_.position);
    return ticks < clock_range / 2;
  }

  bool take_near(const clock_sample& sample) {
    far_step step{};
    if (!step_from_last(sample, step) || step.seconds > longest_pause) { return false; }
    near_seconds_ += step.seconds;
    near_bytes_ += step.bytes;
    return true;
  }

  bool take_far(const clock_sample& sample) {
    far_step step{};
    const bool forward = step_from_last(sample, step);
    far_.push_back(step);
    return forward;
  }

  bool begun_ = false;
  clock_sample last_;
  double near_seconds_ = 0.0;
  double near_bytes_ = 0.0;
  std::vector<far_step> far_;
};

class clock_survey {
public:
  // False when a clock in the data of that place has jumped.
  bool take(const bytes& data, off_t position, bool first_place) {
    std::size_t at = 0;
    std::size_t spacing = 0;
    if (!find_packets(data, at, spacing)) { return true; }
    std::map<int, bool> seen;
    for (; at + packet_size <= data.size(); at += spacing) {
      clock_sample sample{position + static_cast<off_t>(at), 0};
      if (!read_clock(&data[at], sample.ticks)) { continue; }
      const int carrier = (data[at + 1] & 0x1f) << 8 | data[at + 2];
      const bool is_new = clocks_.find(carrier) == clocks_.end();
      if (is_new && (!first_place || past_beginning())) { return false; }
      if (!clocks_[carrier].take(sample, seen[carrier])) { return false; }
      seen[carrier] = true;
    }
    return true;
  }

  bool all_agree() const {
    return !clocks_.empty() && std::all_of(clocks_.begin(), clocks_.end(), [](const auto& entry) {
      return entry.second.steps_agree();
    });
  }

private:
  bool past_beginning() const {
    return std::any_of(clocks_.begin(), clocks_.end(), [](const auto& entry) {
      return entry.second.seconds_seen() > last_new_clock;
    });
  }

  std::map<int, followed_clock> clocks_;
};

bytes read_place(int fd, off_t position, std::size_t size) {
  bytes data(size);
  const ssize_t count = pread(fd, data.data(), size, position);
  data.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return data;
}

}  // namespace

bool transport_clock_is_even(int fd) {
  struct stat about {};
  if (fstat(fd, &about) != 0) { return false; }
  const off_t way = std::max<off_t>(static_cast<off_t>(place_size), about.st_size / places);
  clock_survey survey;
  for (off_t position = 0; position < about.st_size; position += way) {
    if (!survey.take(read_place(fd, position, place_size), position, position == 0)) {
      return false;
    }
  }
  return survey.all_agree();
}
