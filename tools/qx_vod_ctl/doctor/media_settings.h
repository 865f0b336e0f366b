// The settings of the media tools.
#pragma once

#include <string>

#include "tools/qx_vod_ctl/doctor/finding.h"

// A warning for each line of the settings file at `path` that the tools ignore. No finding if there
// is no such file.
finding_list check_media_settings(const std::string& path);
