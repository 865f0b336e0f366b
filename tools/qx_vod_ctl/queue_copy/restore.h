// Brings the jobs of a stored queue back.
#pragma once

#include "tools/client/vod_service.h"
#include "tools/qx_vod_ctl/queue_copy/stored_queue.h"

// Adds the unfinished jobs that the running service's queue does not hold, and prints the entry id
// of each. Jobs that are there are left alone. Returns the exit status, with every failure
// reported.
int restore_by_adding(vod_service& service, const stored_queue& stored);

// Appends the jobs that are missing from the queue file to it, for the service's next start.
// Returns the exit status, with every failure reported.
int restore_into_file(const stored_queue& stored);
