// Leftover files of killed tools.
#pragma once

#include <string>

#include "tools/qx_vod_ctl/doctor/finding.h"

// Looks for half-made files that no tool has in use, in the folder of the VODs and in the metadata
// directories in it. With `fix` they are removed.
finding check_left_overs(const std::string& folder, bool fix);

// Looks for the segments of interrupted transcodes in the folder of the VODs. With `fix` those are
// removed whose source is gone or has changed, or that are older than `keep_days` days; all that no
// tool has in use if the disk is nearly full.
finding check_left_segments(const std::string& folder, bool fix, int keep_days,
                            bool is_disk_full = false);

// Looks for login files that killed uploads have left in /run and /tmp. With `fix` they are
// removed.
finding check_left_logins(bool fix);
