#include "tools/qxmi_vod_transcode/encode_command.h"

#include <algorithm>

#include "tools/media/profiles.h"
#include "tools/qxmi_vod_transcode/encode_parts.h"

namespace {

// Room for data besides video and audio: the index, and a buffer of the highest rate.
constexpr std::uint64_t largest_index = std::uint64_t{256} << 20;  // bytes

double pixels_of(picture_size size) {
  return static_cast<double>(size.width) * size.height;
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
  const double bytes_per_second = (peak / 2.0 + sound_bit_rate) * 1000.0 / 8.0;
  return static_cast<std::uint64_t>(bytes_per_second * media.duration);
}

std::uint64_t largest_output(const source_media& media, const encode_settings& settings) {
  const int picture_rate =
      media.picture ? peak_bit_rate(settings.size.height, media.frame_rate().value()) : 0;
  const double bytes_per_second = (picture_rate + sound_bit_rate) * 1000.0 / 8.0;
  return largest_index + static_cast<std::uint64_t>(1.25 * bytes_per_second * settings.time_limit);
}

argument_list encode_command(const source_media& media, const encode_settings& settings,
                             const std::string& input_url, const std::string& output_url) {
  argument_list arguments = encode_beginning(settings);
  append(arguments, {"-threads", std::to_string(settings.threads)});
  if (media.lead > 0.0) { append(arguments, {"-itsoffset", "-" + std::to_string(media.lead)}); }
  add_clock(arguments, media);
  add_input(arguments, input_url, {}, media.depth);
  append(arguments, {"-map_metadata", "-1", "-map_chapters", "-1"});
  if (media.picture) {
    append(arguments, {"-map", "0:" + std::to_string(media.picture->index)});
    append(arguments, {"-filter:v", filters_to_grid(media) + filters_from_grid(media, settings)});
    add_picture_encoder(arguments, media, settings);
  }
  if (media.sound) {
    add_sound_source(arguments, media, 0);
    add_sound_encoder(arguments, media);
  }
  append(arguments, {"-t", std::to_string(settings.time_limit), "-movflags", "+faststart"});
  add_output(arguments, "mp4", output_url);
  return arguments;
}
