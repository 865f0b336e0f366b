// All on which the segments of a transcode depend: segments are joined only with such that have the
// same key.
#pragma once

#include <string>

#include "tools/media/source_file.h"
#include "tools/qxmi_vod_transcode/encode_command.h"
#include "tools/qxmi_vod_transcode/segment_plan.h"

// The lines of the key that say which engine is installed.
std::string installed_engine();

// Lines "name=value": the source by its content, not by its name; the engine and its encoder as
// they are installed; every setting. The number of threads does not count. False with errno if the
// source cannot be read.
bool segment_key(const source_file& source, const source_media& media,
                 const encode_settings& settings, const segment_plan& plan, std::string& key);
