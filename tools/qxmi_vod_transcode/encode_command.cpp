// The engine's command line for one transcode.
#include "tools/qxmi_vod_transcode/encode_command.h"

#include "tools/qxmi_vod_transcode/picture_filters.h"
#include "tools/qxmi_vod_transcode/profiles.h"

#include <cmath>
#include <initializer_list>

namespace {

constexpr int key_frame_seconds = 2;

// Where the sound begins late or has gaps it is filled with silence, so that it stays in step.
constexpr const char* sound_filters = "aresample=48000:async=1000:min_hard_comp=0.1:first_pts=0";

void append(argument_list& arguments, std::initializer_list<std::string> more) {
  arguments.insert(arguments.end(), more);
}

void add_picture(argument_list& arguments, const source_media& media,
                 const encode_settings& settings) {
  const double rate = media.frame_rate().value();
  const std::string key_frames = std::to_string(std::lround(rate * key_frame_seconds));
  const int peak = peak_bit_rate(settings.size.height, rate);
  append(arguments, {"-map", "0:" + std::to_string(media.picture->index)});
  append(arguments, {"-filter:v", picture_filters(media, {settings.size, settings.tone_map})});
  append(arguments, {"-c:v", "libx264", "-profile:v", "high", "-preset", "fast", "-crf", "22"});
  append(arguments, {"-maxrate:v", std::to_string(peak) + "k"});
  append(arguments, {"-bufsize:v", std::to_string(2 * peak) + "k"});
  append(arguments, {"-g", key_frames, "-keyint_min", key_frames, "-sc_threshold", "0"});
  append(arguments, {"-threads:v", std::to_string(settings.threads)});
}

void add_sound(argument_list& arguments, const audio_stream& sound) {
  append(arguments, {"-map", "0:" + std::to_string(sound.index), "-filter:a", sound_filters});
  append(arguments, {"-c:a", "aac", "-profile:a", "aac_low", "-ac", "2", "-b:a", "160k"});
}

}  // namespace

argument_list encode_command(const source_media& media, const encode_settings& settings,
                             const std::string& input_url, const std::string& output_url) {
  const std::string threads = std::to_string(settings.threads);
  argument_list arguments = ffmpeg_command();
  append(arguments, {"-progress", "pipe:1", "-stats_period", "0.25", "-filter_threads", threads});
  append(arguments, {"-fflags", "+genpts", "-threads", threads});
  add_input(arguments, input_url);
  append(arguments, {"-map_metadata", "-1", "-map_chapters", "-1"});
  if (media.picture) add_picture(arguments, media, settings);
  if (media.sound) add_sound(arguments, *media.sound);
  append(arguments, {"-t", std::to_string(settings.time_limit), "-movflags", "+faststart"});
  add_output(arguments, "mp4", output_url);
  return arguments;
}
