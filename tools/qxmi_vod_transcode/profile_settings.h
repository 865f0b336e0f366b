// What a profile means for a source.
#pragma once

#include <optional>
#include <string>

#include "tools/qxmi_vod_transcode/encode_command.h"
#include "tools/qxmi_vod_transcode/source_media.h"

// Reads what there is of `input` for a transcode with this profile, a height or sound_profile.
// False with the cause in `error`, also if the source does not offer it. `known` as of
// read_source_media().
bool read_for_profile(const std::string& input, const std::string& profile, source_media& media,
                      std::string& error, const std::optional<measured_lengths>& known = {});

// The settings of the engine for that, with as many threads.
encode_settings settings_for_profile(const source_media& media, const std::string& profile,
                                     int threads);
