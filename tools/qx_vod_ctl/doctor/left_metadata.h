// Leftover metadata of jobs that never made their VOD.
#pragma once

#include <string>

#include "tools/client/vod_service.h"
#include "tools/qx_vod_ctl/doctor/finding.h"

// Looks in `folder` for metadata directories without a media file that no job in the queue has as
// its output, that hold nothing but the log and the summary of a job, and in which nothing has
// changed for a day; and in every metadata directory for half-written metadata of that age. With
// `fix` they are removed. No finding when the service does not tell its queue.
finding_list check_left_metadata(vod_service& service, const std::string& folder, bool fix);
