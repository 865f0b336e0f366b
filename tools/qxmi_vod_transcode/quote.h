// The listing of what can be made of a source.
#pragma once

#include <string>

#include "tools/qxmi_vod_transcode/source_media.h"

// The listing, in lines: "*SOURCE" and one line about the source, "*QUOTE" and a line ".. NAME" for
// each profile, best first. `max_height` above 0 omits higher profiles.
std::string quote_text(const source_media& media, int max_height);
