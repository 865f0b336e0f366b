// What is known of a media file.
#include "tools/common/media_info.h"

#include <algorithm>

namespace {

std::int64_t area(const video_stream& stream) {
  return std::int64_t{stream.displayed.width} * stream.displayed.height;
}

bool share_program(const std::vector<int>& a, const std::vector<int>& b) {
  return std::find_first_of(a.begin(), a.end(), b.begin(), b.end()) != a.end();
}

}  // namespace

bool video_stream::high_dynamic_range() const {
  return transfer == "smpte2084" || transfer == "arib-std-b67";
}

const video_stream* media_info::picture() const {
  const video_stream* best = nullptr;
  for (const video_stream& stream : video) {
    if (stream.cover) continue;
    if (best == nullptr || area(stream) > area(*best)) best = &stream;
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
  const auto rank = [shown](const audio_stream& stream) {
    const bool belongs = shown != nullptr && share_program(stream.programs, shown->programs);
    return (belongs ? 4 : 0) + (stream.secondary ? 0 : 2) + (stream.preferred ? 1 : 0);
  };
  const audio_stream* best = nullptr;
  for (const audio_stream& stream : audio) {
    if (best == nullptr || rank(stream) > rank(*best)) best = &stream;
  }
  return best;
}
