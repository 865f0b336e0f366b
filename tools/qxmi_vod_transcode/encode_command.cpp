#include "tools/qxmi_vod_transcode/encode_command.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

#include "tools/media/picture_filters.h"
#include "tools/media/profiles.h"
#include "tools/qxmi_vod_transcode/sound_filters.h"

namespace {

constexpr int key_frame_seconds = 2;
constexpr int sound_rate = 160;  // kbit/s
// Room for data besides video and audio: the index, and a buffer of the highest rate.
constexpr std::uint64_t largest_index = std::uint64_t{256} << 20;  // bytes

// An AVI file has slots of time instead of a clock. The delays of the encoders leave slots before
// and after the first picture empty, which would show that picture twice: later ones move up.
constexpr const char* close_first_slots =
    "setpts=if(eq(N\\,0)\\,st(1\\,lte(PTS\\,4)*PTS))*0"
    "+if(eq(N\\,1)\\,st(0\\,lte(PTS-PREV_INPTS\\,4)*(PTS-PREV_INPTS-1)))*0+PTS-ld(0)-ld(1),";

void append(argument_list& arguments, std::initializer_list<std::string> more) {
  arguments.insert(arguments.end(), more);
}

bool is_avi(const source_media& media) {
  return media.container == "avi";
}

double pixels_of(picture_size size) {
  return static_cast<double>(size.width) * size.height;
}

std::string text(rational value) {
  return std::to_string(value.num) + "/" + std::to_string(value.den);
}

// The engine rebuilds the filters when the size or format of the pictures changes. The frame grid
// therefore begins at time 0 and not with the first picture; frames that are missing at the
// beginning or at such a change are filled in after the filters (see add_picture).
std::string picture_filters(const source_media& media, const encode_settings& settings) {
  const video_stream& picture = *media.picture;
  return assumed_colours(picture) + deinterlacer(picture) + "fps=" + text(media.frame_rate()) +
         "," +
         uniform_picture(picture, settings.size, matrix_for(settings.size), settings.map_light) +
         "format=yuv420p";
}

void add_picture(argument_list& arguments, const source_media& media,
                 const encode_settings& settings) {
  const double rate = media.frame_rate().value();
  const std::string key_frames = std::to_string(std::lround(rate * key_frame_seconds));
  const int peak = peak_bit_rate(settings.size.height, rate);
  append(arguments, {"-map", "0:" + std::to_string(media.picture->index)});
  const std::string filters = picture_filters(media, settings);
  append(arguments, {"-filter:v", (is_avi(media) ? close_first_slots : "") + filters});
  append(arguments, {"-r:v", text(media.frame_rate()), "-fps_mode:v", "cfr"});
  append(arguments, {"-c:v", "libx264", "-profile:v", "high", "-preset", "fast", "-crf", "22"});
  append(arguments, {"-maxrate:v", std::to_string(peak) + "k"});
  append(arguments, {"-bufsize:v", std::to_string(2 * peak) + "k"});
  append(arguments, {"-g", key_frames, "-keyint_min", key_frames, "-sc_threshold", "0"});
  append(arguments, {"-threads:v", std::to_string(settings.threads)});
}

void add_sound(argument_list& arguments, const source_media& media) {
  if (media.right) {
    append(arguments, {"-filter_complex", joined_sound_graph(media), "-map", "[sound]"});
  } else {
    append(arguments, {"-map", "0:" + std::to_string(media.sound->index)});
    append(arguments, {"-filter:a", sound_filters(media)});
  }
  append(arguments, {"-async", sound_step});
  if (media.jump_limit > 0.0) { append(arguments, {"-adrift_threshold", splice_step}); }
  append(arguments, {"-c:a", "aac", "-profile:a", "aac_low", "-ac", "2", "-b:a",
                     std::to_string(sound_rate) + "k"});
}

// Options for the peculiarities of the source's clock.
void add_clock(argument_list& arguments, const source_media& media) {
  // An AVI file has no time stamps, and those that the engine makes up are late by one slot.
  if (!is_avi(media)) { append(arguments, {"-fflags", "+genpts"}); }
  if (media.lead > 0.0) { append(arguments, {"-itsoffset", "-" + std::to_string(media.lead)}); }
  if (media.jump_limit > 0.0) {
    append(arguments, {"-dts_delta_threshold", std::to_string(media.jump_limit)});
  }
}

}  // namespace

time_budget encode_budget(const source_media& media, const encode_settings& settings) {
  if (!media.picture) { return encoding_budget(0.0, 0.0, settings.time_limit); }
  const double rate = std::max(media.picture->frame_rate.value(), media.frame_rate().value());
  return encoding_budget(rate * settings.time_limit,
                         pixels_of(media.picture->coded) + pixels_of(settings.size),
                         settings.time_limit);
}

std::uint64_t expected_output(const source_media& media, const encode_settings& settings) {
  const int peak =
      media.picture ? peak_bit_rate(settings.size.height, media.frame_rate().value()) : 0;
  const double bytes_per_second = (peak / 2.0 + sound_rate) * 1000.0 / 8.0;
  return static_cast<std::uint64_t>(bytes_per_second * media.duration);
}

std::uint64_t largest_output(const source_media& media, const encode_settings& settings) {
  const int picture_rate =
      media.picture ? peak_bit_rate(settings.size.height, media.frame_rate().value()) : 0;
  const double bytes_per_second = (picture_rate + sound_rate) * 1000.0 / 8.0;
  return largest_index + static_cast<std::uint64_t>(1.25 * bytes_per_second * settings.time_limit);
}

argument_list encode_command(const source_media& media, const encode_settings& settings,
                             const std::string& input_url, const std::string& output_url) {
  const std::string threads = std::to_string(settings.threads);
  argument_list arguments = ffmpeg_command();
  append(arguments, {"-progress", "pipe:1", "-stats_period", "0.25", "-filter_threads", threads});
  append(arguments, {"-threads", threads});
  add_clock(arguments, media);
  add_input(arguments, input_url, {}, media.depth);
  append(arguments, {"-map_metadata", "-1", "-map_chapters", "-1"});
  if (media.picture) { add_picture(arguments, media, settings); }
  if (media.sound) { add_sound(arguments, media); }
  append(arguments, {"-t", std::to_string(settings.time_limit), "-movflags", "+faststart"});
  add_output(arguments, "mp4", output_url);
  return arguments;
}
