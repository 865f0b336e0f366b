// The "remote transcode" phase of a job: upload, add, monitor with commands, download.
#pragma once

class QueueItem;

// One turn of an item in "remote transcode": follows its child, or starts the next step if there is
// none.
void idle_remote(QueueItem& item);

// Evaluates the end of a remote step's child.
void on_remote_proc_terminate(QueueItem& item, int wait_status);
