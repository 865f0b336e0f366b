// Whether this machine can confine ffmpeg while it reads media.
#pragma once

#include "tools/media/sandbox.h"
#include "tools/qx_vod_ctl/doctor/finding.h"

finding check_sandbox();

// Judges the machine's support. Unless `is_root`, the account is ignored: other users cannot use
// it.
finding judge_sandbox(const sandbox_support& support, bool is_root);
