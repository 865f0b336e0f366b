#include "tools/qxmi_vod_transcode/encode_parts.h"

#include <cmath>

#include "tools/media/picture_filters.h"
#include "tools/media/profiles.h"
#include "tools/qxmi_vod_transcode/sound_filters.h"

namespace {

// An AVI file has slots of time instead of a clock. The delays of the encoders leave slots before
// and after the first picture empty, which would show that picture twice: later ones move up.
constexpr const char* close_first_slots =
    "setpts=if(eq(N\\,0)\\,st(1\\,lte(PTS\\,4)*PTS))*0"
    "+if(eq(N\\,1)\\,st(0\\,lte(PTS-PREV_INPTS\\,4)*(PTS-PREV_INPTS-1)))*0+PTS-ld(0)-ld(1),";

bool is_avi(const source_media& media) {
  return media.container == "avi";
}

}  // namespace

std::int64_t key_frame_distance(rational frame_rate) {
  return std::lround(frame_rate.value() * key_frame_seconds);
}

void append(argument_list& arguments, std::initializer_list<std::string> more) {
  arguments.insert(arguments.end(), more);
}

std::string ratio_text(rational value) {
  return std::to_string(value.num) + "/" + std::to_string(value.den);
}

// The engine rebuilds the filters when the size or format of the pictures changes. The frame grid
// therefore begins at time 0 and not with the first picture; frames that are missing at the
// beginning or at such a change are filled in after the filters (see add_picture_encoder).
std::string filters_to_grid(const source_media& media) {
  const video_stream& picture = *media.picture;
  return (is_avi(media) ? close_first_slots : "") + assumed_colours(picture) +
         deinterlacer(picture) + "fps=" + ratio_text(media.frame_rate()) + ",";
}

std::string filters_from_grid(const source_media& media, const encode_settings& settings) {
  return uniform_picture(*media.picture, settings.size, matrix_for(settings.size),
                         settings.map_light) +
         "format=yuv420p";
}

void add_picture_encoder(argument_list& arguments, const source_media& media,
                         const encode_settings& settings) {
  const rational rate = media.frame_rate();
  const std::string key_frames = std::to_string(key_frame_distance(rate));
  const int peak = peak_bit_rate(settings.size.height, rate.value());
  append(arguments, {"-r:v", ratio_text(rate), "-fps_mode:v", "cfr"});
  append(arguments, {"-c:v", "libx264", "-profile:v", "high", "-preset", "fast", "-crf", "22"});
  append(arguments, {"-maxrate:v", std::to_string(peak) + "k"});
  append(arguments, {"-bufsize:v", std::to_string(2 * peak) + "k"});
  append(arguments, {"-g", key_frames, "-keyint_min", key_frames, "-sc_threshold", "0"});
  append(arguments, {"-threads:v", std::to_string(settings.threads)});
}

void add_sound_source(argument_list& arguments, const source_media& media, int input) {
  if (media.right) {
    append(arguments, {"-filter_complex", joined_sound_graph(media, input), "-map", "[sound]"});
    return;
  }
  append(arguments, {"-map", std::to_string(input) + ":" + std::to_string(media.sound->index),
                     "-filter:a", sound_filters(media)});
}

void add_sound_encoder(argument_list& arguments, const source_media& media) {
  append(arguments, {"-async", sound_step});
  if (media.jump_limit > 0.0) { append(arguments, {"-adrift_threshold", splice_step}); }
  append(arguments, {"-c:a", "aac", "-profile:a", "aac_low", "-ac", "2", "-b:a",
                     std::to_string(sound_bit_rate) + "k"});
}

void add_clock(argument_list& arguments, const source_media& media) {
  // An AVI file has no time stamps, and those that the engine makes up are late by one slot.
  if (!is_avi(media)) { append(arguments, {"-fflags", "+genpts"}); }
  if (media.jump_limit > 0.0) {
    append(arguments, {"-dts_delta_threshold", std::to_string(media.jump_limit)});
  }
}

argument_list encode_beginning(const encode_settings& settings) {
  const std::string threads = std::to_string(settings.threads);
  argument_list arguments = ffmpeg_command();
  append(arguments, {"-progress", "pipe:1", "-stats_period", "0.25", "-filter_threads", threads});
  return arguments;
}
