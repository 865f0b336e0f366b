#include "tools/media/item_entries.h"

#include <cmath>
#include <cstdio>
#include <string_view>

#include "platform/text.h"

namespace {

std::string three_decimals(double value) {
  char text[40];
  std::snprintf(text, sizeof text, "%.3f", value);
  return text;
}

std::string if_positive(double value) {
  return value > 0.0 ? three_decimals(value) : "";
}

std::string if_positive(std::int64_t value) {
  return value > 0 ? std::to_string(value) : "";
}

// Some containers do not declare it; size divided by length is the same over the whole file.
std::int64_t bit_rate(const media_info& media, off_t size) {
  if (media.bit_rate > 0 || media.duration <= 0.0) { return media.bit_rate; }
  return std::llround(static_cast<double>(size) * 8.0 / media.duration);
}

}  // namespace

std::vector<item_entry> item_entries(const std::string& type, const media_info& media,
                                     const struct stat& status) {
  const video_stream none;
  const video_stream* picture = media.picture();
  const audio_stream* sound = media.sound();
  const bool moves = picture != nullptr && begins_with(type, "video/");
  const bool lasts = !begins_with(type, "image/");
  const video_stream& seen = picture != nullptr ? *picture : none;
  return {
      {"file type", type},
      {"duration", lasts ? if_positive(media.duration) : ""},
      {"width", if_positive(std::int64_t{seen.displayed.width})},
      {"height", if_positive(std::int64_t{seen.displayed.height})},
      {"frame rate", moves ? if_positive(seen.frame_rate.value()) : ""},
      {"interlaced", moves ? (seen.interlaced ? "1" : "0") : ""},
      {"video codec", moves ? seen.codec : ""},
      {"audio codec", sound != nullptr ? sound->codec : ""},
      {"audio channels", sound != nullptr ? std::to_string(sound->channels) : ""},
      {"bit rate", lasts ? if_positive(bit_rate(media, status.st_size)) : ""},
      {"size", std::to_string(status.st_size)},
      {"modified", std::to_string(status.st_mtim.tv_sec)},
  };
}
