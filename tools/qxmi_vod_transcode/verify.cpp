#include "tools/qxmi_vod_transcode/verify.h"

#include <algorithm>
#include <cmath>

#include "platform/formatted.h"
#include "tools/media/media_probe.h"
#include "tools/media/packet_timeline.h"

namespace {

// An encoder's delay counts as the beginning.
constexpr double latest_begin = 0.1;

// A change in the middle of the sound may lose the packets in the encoder.
constexpr double longest_sound_gap = 0.25;
constexpr double longest_picture_gap = 1.5;  // frames

constexpr double sound_frame = 1024.0 / 48000.0;  // seconds

std::string length_fault(double made, double expected) {
  if (expected <= 0.0 || std::fabs(made - expected) <= length_tolerance(expected)) { return {}; }
  const char* form = made < expected
                         ? "ends after %.2f s, its declared length is %.2f s"
                         : "continues after its declared length: %.2f instead of %.2f s";
  return formatted(form, made, expected);
}

// A fault that both kinds of streams may have. Of `what` there is a frame every `frame` seconds.
std::string frame_fault(const char* what, const made_stream& made, double frame, double gap) {
  if (made.begin > latest_begin) {
    return formatted("its %s begins only at %.2f s", what, made.begin);
  }
  if (made.longest_step > gap) {
    return formatted("its %s has a gap of %.2f s", what, made.longest_step);
  }
  const double expected = (made.end - made.begin) / frame;
  const double allowed = std::max(2.0 + gap / frame, expected / 100.0);
  if (std::fabs(static_cast<double>(made.frames) - expected) <= allowed) { return {}; }
  return formatted("its %s has %ld frames and should have %.0f", what, made.frames, expected);
}

made_stream stream_made(const packet_timeline& timeline, int index) {
  made_stream made;
  timeline.end_of(index, made.end);
  made.begin = made.end - timeline.length_of(index, 0.0);
  made.longest_step = timeline.longest_step(index);
  made.frames = timeline.packets(index);
  return made;
}

bool has_streams(const media_info& made, picture_size size, const source_media& media) {
  const video_stream* picture = made.picture();
  const bool picture_is_right = media.picture ? picture != nullptr &&
                                                    picture->displayed.width == size.width &&
                                                    picture->displayed.height == size.height
                                              : picture == nullptr;
  return picture_is_right && (made.sound() != nullptr) == media.sound.has_value();
}

double sound_length(const source_media& media) {
  return media.sound_duration > 0.0 ? media.sound_duration : media.duration;
}

// Compares lengths and frames with the currently known lengths of the source; returns the fault.
std::string stream_faults(const media_info& made, const packet_timeline& timeline,
                          const source_media& media) {
  std::string fault = length_fault(made.duration, media.duration);
  if (fault.empty() && media.picture) {
    fault = picture_fault(stream_made(timeline, made.picture()->index), media.picture_duration,
                          media.frame_rate().value());
  }
  if (!fault.empty() || !media.sound) { return fault; }
  return sound_fault(stream_made(timeline, made.sound()->index), sound_length(media));
}

// Whether the whole or a stream of it is not as long as the source declares.
bool has_other_length(const media_info& made, const packet_timeline& timeline,
                      const source_media& media) {
  const auto differs = [&](int stream, double expected) {
    return !length_fault(stream_made(timeline, stream).end, expected).empty();
  };
  return !length_fault(made.duration, media.duration).empty() ||
         (media.picture && differs(made.picture()->index, media.picture_duration)) ||
         (media.sound && differs(made.sound()->index, sound_length(media)));
}

std::string count_fault(const char* what, long made, long expected) {
  if (expected == 0 || made == expected) { return {}; }
  return formatted("its %s has %ld frames of %ld", what, made, expected);
}

std::string count_faults(const media_info& made, const packet_timeline& timeline,
                         const source_media& media, frame_counts counts) {
  std::string fault;
  if (media.picture) {
    fault = count_fault("video", timeline.packets(made.picture()->index), counts.picture);
  }
  if (!fault.empty() || !media.sound) { return fault; }
  return count_fault("audio", timeline.packets(made.sound()->index), counts.sound);
}

// Whether reading the source through may show that its container was wrong.
bool worth_measuring(const source_media& media) {
  const bool sound_unknown = media.sound && media.sound_duration <= 0.0;
  const bool picture_unknown = media.picture && !media.picture_told;
  return !media.measured && (media.jump_limit > 0.0 || sound_unknown || picture_unknown);
}

}  // namespace

double length_tolerance(double duration) {
  return std::max(1.0, duration / 100.0);
}

std::string picture_fault(const made_stream& made, double expected, double frame_rate) {
  const std::string fault = length_fault(made.end, expected);
  if (!fault.empty()) { return "its video " + fault; }
  return frame_fault("video", made, 1.0 / frame_rate, longest_picture_gap / frame_rate);
}

std::string sound_fault(const made_stream& made, double expected) {
  const std::string fault = length_fault(made.end, expected);
  if (!fault.empty()) { return "its audio " + fault; }
  return frame_fault("audio", made, sound_frame, longest_sound_gap);
}

bool verify_result(const std::string& result, const std::string& source, picture_size size,
                   source_media& media, encode_failure& failure, frame_counts counts) {
  media_info made;
  packet_timeline timeline(false);
  std::string cause;
  bool interrupted = false;
  if (!probe_result(result, made, timeline, cause, &interrupted)) {
    failure = {false, "cannot be transcoded: the result " + cause, interrupted};
    return false;
  }
  if (!has_streams(made, size, media)) {
    failure = {false, "cannot be transcoded: the result lacks video or audio"};
    return false;
  }
  std::string fault = stream_faults(made, timeline, media);
  if (!fault.empty() && worth_measuring(media)) {
    const bool measured = measure_lengths(source, media, cause, &failure.interrupted);
    if (measured) { fault = stream_faults(made, timeline, media); }
  }
  // By a clock that jumps, several runs may come to another length than one.
  failure.same_again =
      !fault.empty() && media.jump_limit <= 0.0 && has_other_length(made, timeline, media);
  if (fault.empty()) { fault = count_faults(made, timeline, media, counts); }
  failure.cause = fault;
  return fault.empty();
}
