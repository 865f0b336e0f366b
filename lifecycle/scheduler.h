// The scheduler: gives every job its turn and decides which transcode runs.
#pragma once

// One pass: a turn of work for every job in queue order. When none did work, and at most every 5 s
// (see trigger_transcode_queue_scan), the queue is scanned: finished and stale jobs go, a waiting
// transcode is resumed or the first ready one started. True when a job did work.
bool idle_transcode_queue();
