// Finds out whether a video is interlaced if its file does not declare it, or declares it wrongly.
// Runs the engine on a few places of the video.
#pragma once

#include <string>

#include "tools/media/media_info.h"

// Settles `interlaced`, `bottom_first` and `unmarked` of media.picture(), for the source at `path`
// that was probed into `media`. The marks of pictures take precedence over the file's declaration;
// if no picture is marked, and the size and rate are those of interlaced video, the looks of the
// pictures decide. Anything undecided keeps its value. Usually takes a second, two minutes at most.
void survey_fields(const std::string& path, media_info& media);
