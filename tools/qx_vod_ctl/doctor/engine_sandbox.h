// Whether this machine can confine ffmpeg while it reads media.
#pragma once

#include "tools/media/sandbox.h"
#include "tools/qx_vod_ctl/doctor/finding.h"

finding_list check_sandbox();

// A finding for each means that this machine does not support, or one if there is none. `lends`
// says whether results can be given to the account. Unless `is_root`, the account is ignored: other
// users cannot use it.
finding_list judge_sandbox(const sandbox_support& support, bool lends, bool is_root);
