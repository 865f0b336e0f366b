#include "tools/qxmi_vod_transcode/sound_filters.h"

namespace {

// The engine guesses the places of up to eight channels.
constexpr int most_guessed_channels = 8;

// The engine takes mono down by 3 dB on its way to two sides; this makes up for it beforehand. It
// is looked at again whenever the chain is set up.
constexpr const char* mono_gain =
    "volume=volume=if(eq(nb_channels\\,1)\\,sqrt(2)\\,1):precision=float,";

// Calculated in floating point, which has room above full scale until the limiter.
constexpr const char* to_stereo =
    "aformat=sample_fmts=fltp,"
    "aresample=48000:ochl=stereo:center_mix_level=0.70710678:surround_mix_level=0.70710678,"
    "alimiter=limit=1:level=0:latency=1";

constexpr const char* first_pair = "pan=stereo|c0=c0|c1=c1,";

// The engine's keeping of step forgets where it was, and fills from the beginning once more, when
// it has to stretch the sound for the first time without having resampled it before. So it always
// resamples: to a rate that the source does not have and that takes nothing away.
constexpr int between_rate = 96000;
constexpr int other_between_rate = 88200;

std::string resampled_in_step(const source_media& media) {
  const bool is_taken = media.sound->sample_rate == between_rate ||
                        (media.right && media.right->sample_rate == between_rate);
  return "aformat=sample_rates=" + std::to_string(is_taken ? other_between_rate : between_rate) +
         ",";
}

}  // namespace

std::string sound_filters(const source_media& media) {
  const bool places_unknown =
      !media.sound->layout_known && media.sound->channels > most_guessed_channels;
  return resampled_in_step(media) + (places_unknown ? first_pair : "") + std::string(mono_gain) +
         to_stereo;
}

std::string joined_sound_graph(const source_media& media, int input) {
  const std::string from = "[" + std::to_string(input) + ":";
  return from + std::to_string(media.sound->index) + "]" + from +
         std::to_string(media.right->index) +
         "]join=inputs=2:channel_layout=stereo:map=0.0-FL|1.0-FR," + resampled_in_step(media) +
         to_stereo + "[sound]";
}
