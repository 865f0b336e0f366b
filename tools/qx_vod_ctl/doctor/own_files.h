// The service's own files besides its configuration: the queue, and the list of media folders.
#pragma once

#include "tools/qx_vod_ctl/doctor/finding.h"

finding_list check_own_files();

// Judges the queue file; `may_hold_password` says that its items may have been sent to another
// server with one.
finding check_queue_file(const std::string& path, bool may_hold_password);

// Reports the rest of an unfinished write of the queue; no finding without one.
finding_list check_unfinished_queue(const std::string& path);

// Reports queue files that could not be read; no finding without one.
finding_list check_queue_copies();

// Judges the list of further folders that media may lie in, and each folder on it.
finding_list check_media_roots(const std::string& path);
