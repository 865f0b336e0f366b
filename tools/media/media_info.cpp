#include "tools/media/media_info.h"

#include <algorithm>

#include "platform/text.h"

namespace {

std::int64_t area(const video_stream& stream) {
  return std::int64_t{stream.displayed.width} * stream.displayed.height;
}

bool share_program(const std::vector<int>& a, const std::vector<int>& b) {
  return std::find_first_of(a.begin(), a.end(), b.begin(), b.end()) != a.end();
}

// How well a sound suits the picture.
template <typename stream_type>
int rank(const stream_type& stream, const video_stream* shown) {
  const bool belongs = shown != nullptr && share_program(stream.programs, shown->programs);
  return (belongs ? 4 : 0) + (stream.secondary ? 0 : 2) + (stream.preferred ? 1 : 0);
}

// These formats store each channel of the sound in a separate track. In others, mono tracks are
// different languages.
bool keeps_channels_apart(const std::string& container) {
  return container == "mxf" || container == "gxf" || begins_with(container, "mov,");
}

// Whether both can be channels of one sound.
bool same_kind(const audio_stream& a, const audio_stream& b) {
  return a.channels == 1 && b.channels == 1 && a.codec == b.codec &&
         a.sample_rate == b.sample_rate && a.language == b.language && a.secondary == b.secondary;
}

}  // namespace

bool video_stream::high_dynamic_range() const {
  return transfer == "smpte2084" || transfer == "arib-std-b67";
}

bool media_info::clock_may_jump() const {
  return container == "mpegts" || container == "mpeg";
}

const video_stream* media_info::picture() const {
  const video_stream* best = nullptr;
  for (const video_stream& stream : video) {
    if (stream.cover) { continue; }
    if (best == nullptr || area(stream) > area(*best)) { best = &stream; }
  }
  return best;
}

const video_stream* media_info::cover() const {
  const auto found = std::find_if(video.begin(), video.end(),
                                  [](const video_stream& stream) { return stream.cover; });
  return found == video.end() ? nullptr : &*found;
}

const audio_stream* media_info::sound() const {
  const video_stream* shown = picture();
  const audio_stream* best = nullptr;
  for (const audio_stream& stream : audio) {
    if (best == nullptr || rank(stream, shown) > rank(*best, shown)) { best = &stream; }
  }
  return best;
}

const unclear_stream* media_info::wanted() const {
  const video_stream* shown = picture();
  const audio_stream* heard = sound();
  for (const unclear_stream& stream : unclear) {
    const bool better_sound = heard == nullptr || rank(stream, shown) > rank(*heard, shown);
    if (stream.sound ? better_sound : shown == nullptr) { return &stream; }
  }
  return nullptr;
}

const audio_stream* media_info::right_channel() const {
  const audio_stream* left = sound();
  if (left == nullptr || !keeps_channels_apart(container)) { return nullptr; }
  const auto found = std::find_if(audio.begin(), audio.end(), [left](const audio_stream& stream) {
    return stream.index > left->index && same_kind(*left, stream);
  });
  return found == audio.end() ? nullptr : &*found;
}
