// Leftover files of killed tools.
#pragma once

#include <string>

#include "tools/qx_vod_ctl/doctor/finding.h"

// Looks for half-made files that no tool has in use, in the folder of the VODs and in the metadata
// directories in it. With `fix` they are removed.
finding check_left_overs(const std::string& folder, bool fix);

// Looks for login files that killed uploads have left in /run and /tmp. With `fix` they are
// removed.
finding check_left_logins(bool fix);
