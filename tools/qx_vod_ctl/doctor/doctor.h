// All that the doctor looks at.
#pragma once

#include "tools/client/vod_service.h"
#include "tools/qx_vod_ctl/doctor/finding.h"

// Looks at service, machine, files, programs and, where the configuration names one, the other
// server. Takes signals over from the service's answer on (see tool_signals.h): one that asks to
// stop ends what runs, and the caller has to obey it.
// With `fix`, left-over files of killed tools are removed.
finding_list examine(vod_service& service, bool fix = false);
