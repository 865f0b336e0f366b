#include "tools/qxmi_vod_transcode/source_media.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "tools/job_log/job_log.h"
#include "tools/media/field_survey.h"
#include "tools/media/media_probe.h"

namespace {

constexpr double slowest = 1.0;
constexpr double fastest = 60.0;
constexpr rational usual_rate = {25, 1};

// A clock that was found to be continuous has no jumps: every step is intended, unless it is longer
// than any recording.
constexpr double no_jumps = 100000.0;

// Where a recording changes its streams in the middle, the later ones begin when those of the
// beginning end, within this many seconds.
constexpr double change_margin = 1.0;

// A pause of one stream is recognised as such by the engine when the limit is above it.
constexpr double pause_margin = 1.0;

// Where a stream ends, counted from the common beginning; 0 if the container does not declare it.
template <typename stream_type>
double end_of(const stream_type& stream, double beginning) {
  return stream.duration > 0.0 ? stream.start + stream.duration - beginning : 0.0;
}

// The file may be longer than its used streams: other programs, data, subtitles.
void take_lengths(const media_info& info, source_media& media) {
  const double picture = media.picture ? end_of(*media.picture, media.beginning) : 0.0;
  const double sound = media.sound ? end_of(*media.sound, media.beginning) : 0.0;
  const bool all_told = (!media.picture || picture > 0.0) && (!media.sound || sound > 0.0);
  media.duration = all_told ? std::max(picture, sound) : info.duration - media.lead;
  media.picture_told = picture > 0.0;
  media.picture_duration = picture > 0.0 ? picture : media.duration;
  media.sound_duration = sound;
}

// Where a stream ends on the measured line, counted from the common beginning; 0 when it cannot be
// said.
double measured_end(const packet_timeline& timeline, int stream, double rate, double beginning) {
  double end = 0.0;
  return timeline.end_of(stream, end) ? end - beginning : timeline.length_of(stream, rate);
}

void take_streams(const media_info& info, source_parts parts, source_media& media) {
  const bool sound_alone = parts == source_parts::sound_alone;
  if (const video_stream* picture = sound_alone ? nullptr : info.picture()) {
    media.picture = *picture;
  }
  if (const audio_stream* sound = info.sound()) { media.sound = *sound; }
  if (const audio_stream* right = info.right_channel()) { media.right = *right; }
  media.container = info.container;
  media.depth = info.depth;
  if (info.clock_may_jump()) { media.jump_limit = no_jumps; }
}

double lead_of(const media_info& info, const source_media& media) {
  if (!media.picture || !media.sound || !media.picture->frame_rate.known()) { return 0.0; }
  const double lead = media.picture->start - info.start;
  return lead > 0.0 && lead * media.picture->frame_rate.value() <= 1.0 ? lead : 0.0;
}

void take_known(const measured_lengths& known, source_media& media) {
  media.duration = known.all;
  media.picture_duration = known.picture;
  media.sound_duration = known.sound;
  media.jump_limit = known.jump_limit;
  media.measured = true;
}

bool refuse(std::string& error, const char* cause) {
  error = cause;
  return false;
}

bool fits_filter(rational rate) {
  return std::max(rate.num, rate.den) <= std::numeric_limits<int>::max();
}

}  // namespace

rational source_media::frame_rate() const {
  const rational told = picture ? picture->frame_rate : rational();
  if (!told.known() || told.value() < slowest) {
    return told.known() ? rational{static_cast<std::int64_t>(slowest), 1} : usual_rate;
  }
  const double divisor = std::ceil(told.value() / fastest - 1e-9);
  const rational divided = {told.num, told.den * static_cast<std::int64_t>(std::max(1.0, divisor))};
  return fits_filter(divided) ? divided : usual_rate;
}

std::optional<measured_lengths> lengths_of(const source_media& media) {
  if (!media.measured) { return {}; }
  return measured_lengths{media.duration, media.picture_duration, media.sound_duration,
                          media.jump_limit};
}

bool read_source_media(const std::string& path, source_parts parts, source_media& media,
                       std::string& error, const std::optional<measured_lengths>& known) {
  media_info info;
  if (!probe_media(path, info, error)) { return false; }
  doubt_lengths(info);
  if (parts == source_parts::picture_and_sound) { survey_fields(path, info); }
  take_streams(info, parts, media);
  if (!media.picture && !media.sound) {
    error =
        parts == source_parts::sound_alone ? "has no audio" : "contains neither video nor audio";
    return false;
  }
  media.lead = lead_of(info, media);
  media.beginning = info.start + media.lead;
  take_lengths(info, media);
  if (known) {
    take_known(*known, media);
    return true;
  }
  if (!info.duration_estimated && media.duration > 0.0) { return true; }
  media.picture_duration = media.sound_duration = media.duration = 0.0;
  return measure_lengths(path, media, error);
}

bool measure_lengths(const std::string& path, source_media& media, std::string& error,
                     bool* interrupted) {
  const bool broadcast = media.jump_limit > 0.0;
  packet_timeline timeline(broadcast);
  if (!measure_streams(path, media.depth, timeline, error, interrupted)) { return false; }
  if (media.picture && (broadcast || !media.picture_told || media.duration <= 0.0)) {
    media.picture_duration = measured_end(timeline, media.picture->index,
                                          media.picture->frame_rate.value(), media.beginning);
  }
  if (media.sound && (broadcast || media.sound_duration <= 0.0)) {
    media.sound_duration = measured_end(timeline, media.sound->index, 0.0, media.beginning);
  }
  if (broadcast || media.duration <= 0.0) {
    media.duration = std::max(media.picture_duration, media.sound_duration);
  }
  if (broadcast) {
    media.jump_limit = std::max(packet_timeline::jump, timeline.longest_pause() + pause_margin);
  }
  media.measured = true;
  log_length("video, measured:", media.picture_duration);
  log_length("audio, measured:", media.sound_duration);
  if (media.duration <= 0.0) { return refuse(error, "has no duration"); }
  if (!is_acceptable_length(media.duration, error)) { return false; }
  const double nearly_over = media.beginning + media.duration - change_margin;
  const bool goes_on = timeline.end_of_later_streams(nearly_over) > nearly_over + 2 * change_margin;
  return !goes_on || refuse(error, "continues in other streams than it began with");
}
