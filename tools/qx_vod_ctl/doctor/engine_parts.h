// The parts of ffmpeg that the tools need.
#pragma once

#include "tools/qx_vod_ctl/doctor/finding.h"

// Asks ffmpeg for its encoders and filters; at most 20 s for each. No findings if ffmpeg is
// missing.
finding_list check_engine();

// Judges what "ffmpeg -encoders" and "ffmpeg -filters" print.
finding judge_encoders(const std::string& listing);
finding judge_filters(const std::string& listing);
