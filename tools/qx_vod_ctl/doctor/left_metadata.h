// Leftover metadata of jobs that never made their VOD.
#pragma once

#include <string>

#include "tools/client/vod_service.h"
#include "tools/qx_vod_ctl/doctor/finding.h"

// Looks in `folder` for metadata directories that have no media file, that are not for the output
// of any job in the queue, that contain only the log and the summary of a job, and in which nothing
// has changed for a day; and in every metadata directory for half-written metadata of that age.
// With `fix` they are removed. No finding if the queue cannot be read from the service.
finding_list check_left_metadata(vod_service& service, const std::string& folder, bool fix);
