// What ffmpeg was built with, as far as the tools need it.
#pragma once

#include "tools/qx_vod_ctl/doctor/finding.h"

// Asks ffmpeg for its encoders and filters; at most 20 s for each. Says nothing where there is no
// ffmpeg to be asked.
finding_list check_engine();

// Judges what "ffmpeg -encoders" and "ffmpeg -filters" print.
finding judge_encoders(const std::string& listing);
finding judge_filters(const std::string& listing);
