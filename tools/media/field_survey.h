// Finds out whether a film is interlaced, where its file does not tell or tells it wrong. Runs the
// engine on a few places of the film.
#pragma once

#include <string>

#include "tools/media/media_info.h"

// Settles `interlaced`, `bottom_first` and `unmarked` of media.picture(), for the source at `path`
// that was probed into `media`. What pictures are marked with counts more than what
// the file says of the whole; where none is marked, and the size and the rate are those of
// interlaced video, their looks decide. What cannot be found out stays as it was. Takes a second as
// a rule and two minutes at most.
void survey_fields(const std::string& path, media_info& media);
