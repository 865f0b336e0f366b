// The "remote transcode" phase of a job: upload, add, monitor with commands, download.
#pragma once

class QueueItem;

// One turn of work of an item in "remote transcode": follows its child, or starts the next step
// when it has none.
void idle_remote(QueueItem& item);
