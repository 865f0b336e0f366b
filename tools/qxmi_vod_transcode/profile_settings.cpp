#include "tools/qxmi_vod_transcode/profile_settings.h"

#include "tools/media/picture_filters.h"
#include "tools/media/profiles.h"
#include "tools/qxmi_vod_transcode/verify.h"

namespace {

// Longer than declared is a failure too, but must not fill the disk first. A broadcast clock that
// was not found to jump may still have done so between the places that were looked at.
double time_limit(const source_media& media) {
  const bool length_is_sure = media.jump_limit <= 0.0 || media.measured;
  const double longest = length_is_sure ? media.duration : 2.0 * media.duration;
  return longest + 2.0 * length_tolerance(longest);
}

}  // namespace

bool read_for_profile(const std::string& input, const std::string& profile, source_media& media,
                      std::string& error, const std::optional<measured_lengths>& known) {
  const bool sound_alone = profile == sound_profile;
  const source_parts parts =
      sound_alone ? source_parts::sound_alone : source_parts::picture_and_sound;
  if (!read_source_media(input, parts, media, error, known)) { return false; }
  if (!sound_alone && !media.picture) { error = "has no video"; }
  if (media.picture && !offers_profile(media.picture->displayed, profile)) {
    error = "does not offer the profile " + profile;
  }
  return error.empty();
}

encode_settings settings_for_profile(const source_media& media, const std::string& profile,
                                     int threads) {
  encode_settings chosen;
  chosen.threads = threads;
  chosen.time_limit = time_limit(media);
  if (!media.picture) { return chosen; }
  chosen.size = output_size(media.picture->displayed, profile_height(profile));
  chosen.map_light = needs_light_mapped(*media.picture) && engine_can_map_light();
  return chosen;
}
