// The encoding profiles: their names, sizes and bit rates, and which of them suit a source.
#pragma once

#include <string>
#include <vector>

#include "tools/media/media_info.h"

// The profile of a source that is sound alone; every other name is a height in lines.
constexpr const char* sound_profile = "audio";

// The profiles that suit a video, best first: the usual heights up to the video's displayed height
// and, unless `max_height` is 0, up to `max_height`. If none fits, the source's own height made
// even, regardless of max_height: a list is never empty.
std::vector<std::string> picture_profiles(picture_size displayed, int max_height);

// Whether `name` is among the profiles that are listed for such a picture, whatever the listing's
// greatest height.
bool offers_profile(picture_size displayed, const std::string& name);

// The height of a profile with this name: 2 to 8192 lines; 0 if the name is not a height.
int profile_height(const std::string& name);

// The size of the output: `height` lines, but never more than the source has, with the shape of
// the displayed picture; both sides even and at least 2.
picture_size output_size(picture_size displayed, int height);

// The most the picture may take, in kbit/s, for that many lines. Above 30 frames a second it may
// take half as much again.
int peak_bit_rate(int height, double frame_rate);
