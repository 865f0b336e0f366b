// The encoding profiles: what each is called, which suit a source, what size and bit rate it has.
#pragma once

#include <string>
#include <vector>

#include "tools/media/media_info.h"

// The profile of a source that is sound alone; every other name is a height in lines.
constexpr const char* sound_profile = "audio";

// The profiles that suit a moving picture, best first: the usual heights that are not above the
// picture's displayed height, nor above `max_height` where that is above 0. Where none fits, the
// source's own height made even, whatever max_height says: a list is never empty.
std::vector<std::string> picture_profiles(picture_size displayed, int max_height);

// Whether `name` is among the profiles that are listed for such a picture, whatever the listing's
// greatest height.
bool offers_profile(picture_size displayed, const std::string& name);

// The height a profile's name stands for: 2 to 8192 lines; 0 when it is no such name.
int profile_height(const std::string& name);

// The size of the output: `height` lines, but never more than the source has, with the shape of
// the displayed picture; both sides even and at least 2.
picture_size output_size(picture_size displayed, int height);

// The most the picture may take, in kbit/s, for that many lines. Above 30 frames a second it may
// take half as much again.
int peak_bit_rate(int height, double frame_rate);
