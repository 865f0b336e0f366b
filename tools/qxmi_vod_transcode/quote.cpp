#include "tools/qxmi_vod_transcode/quote.h"

#include <cstdio>
#include <vector>

#include "rules/transcoder_contract.h"
#include "tools/media/profiles.h"

namespace {

std::string decimals(double value, int places) {
  char text[64];
  std::snprintf(text, sizeof text, "%.*f", places, value);
  return text;
}

std::string picture_text(const video_stream& picture) {
  return "video " + std::to_string(picture.displayed.width) + "x" +
         std::to_string(picture.displayed.height) + " " + decimals(picture.frame_rate.value(), 3) +
         " fps " + (picture.interlaced ? "interlaced " : "progressive ") + picture.codec + ", ";
}

std::string sound_text(const source_media& media) {
  const int channels = media.right ? 2 : media.sound->channels;
  return "audio " + std::to_string(channels) + "ch " + media.sound->codec + ", ";
}

}  // namespace

std::string quote_text(const source_media& media, int max_height) {
  std::vector<std::string> names = {sound_profile};
  if (media.picture) { names = picture_profiles(media.picture->displayed, max_height); }

  std::string text = "*SOURCE\n";
  if (media.picture) { text += picture_text(*media.picture); }
  if (media.sound) { text += sound_text(media); }
  return text + decimals(media.duration, 2) + " s\n" + listing_text(names);
}
