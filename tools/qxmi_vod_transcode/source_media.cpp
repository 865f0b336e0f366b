// A source as the transcoder sees it.
#include "tools/qxmi_vod_transcode/source_media.h"

#include "tools/common/media_probe.h"

#include <algorithm>
#include <limits>

namespace {

constexpr double slowest = 1.0;
constexpr double fastest = 60.0;
constexpr rational usual_rate = {25, 1};

// Where a stream ends, counted from the file's beginning; 0 when the container does not tell.
template <typename stream_type> double end_of(const stream_type& stream, double file_start) {
  return stream.duration > 0.0 ? stream.start + stream.duration - file_start : 0.0;
}

// The file may be longer than what is taken of it: other programs, data, subtitles.
void take_lengths(const media_info& info, source_media& media) {
  const double picture = media.picture ? end_of(*media.picture, info.start) : 0.0;
  const double sound = media.sound ? end_of(*media.sound, info.start) : 0.0;
  const bool all_told = (!media.picture || picture > 0.0) && (!media.sound || sound > 0.0);
  media.duration = all_told ? std::max(picture, sound) : info.duration;
  media.picture_duration = picture > 0.0 ? picture : media.duration;
}

bool measure_lengths(const std::string& path, source_media& media, std::string& error) {
  const int index = media.picture ? media.picture->index : media.sound->index;
  const double rate = media.picture ? media.picture->frame_rate.value() : 0.0;
  if (!measure_duration(path, index, rate, media.duration, error)) return false;
  media.picture_duration = media.duration;
  return true;
}

bool fits_filter(rational rate) {
  return std::max(rate.num, rate.den) <= std::numeric_limits<int>::max();
}

}  // namespace

rational source_media::frame_rate() const {
  const rational told = picture ? picture->frame_rate : rational();
  if (!told.known() || !fits_filter(told)) return usual_rate;
  if (told.value() > fastest) return {static_cast<std::int64_t>(fastest), 1};
  if (told.value() < slowest) return {static_cast<std::int64_t>(slowest), 1};
  return told;
}

bool read_source_media(const std::string& path, source_parts parts, source_media& media,
                       std::string& error) {
  media_info info;
  if (!probe_media(path, info, error)) return false;
  const bool sound_alone = parts == source_parts::sound_alone;
  if (const video_stream* picture = sound_alone ? nullptr : info.picture()) {
    media.picture = *picture;
  }
  if (const audio_stream* sound = info.sound()) media.sound = *sound;
  if (!media.picture && !media.sound) {
    error = sound_alone ? "has no sound" : "holds neither a moving picture nor sound";
    return false;
  }
  take_lengths(info, media);
  const bool measured = info.duration_estimated || media.duration <= 0.0;
  return !measured || measure_lengths(path, media, error);
}
