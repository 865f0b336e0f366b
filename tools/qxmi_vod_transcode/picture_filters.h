// The engine's filters for the picture: from the source as it is stored to what is encoded.
#pragma once

#include "tools/qxmi_vod_transcode/source_media.h"

#include <string>

// What the picture becomes.
struct picture_target {
  picture_size size;
  bool tone_map = false;  // map a high dynamic range to the ordinary one
};

// The chain of filters for the picture, which `media` has: one progressive frame for each frame of
// the source, at a constant rate from time 0 on, of the target's size with square pixels, 8 bit
// 4:2:0.
std::string picture_filters(const source_media& media, const picture_target& target);

// True when the engine has the filters that tone mapping needs.
bool engine_can_tone_map();
