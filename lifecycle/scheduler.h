// The scheduler: gives every item its turn and decides which transcode runs.
#pragma once

// One pass: a turn of work, in queue order, for every item that may have something to do. If none
// of them did any work, and at most every 5 s (see trigger_transcode_queue_scan), the queue is
// scanned: cleared and stale items are removed, and a waiting transcode is resumed or the first
// ready one started. True if an item did work.
bool idle_transcode_queue();
