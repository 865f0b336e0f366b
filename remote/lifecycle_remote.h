// The "remote transcode" phase of a job: upload, add, monitor with commands, download.
#pragma once

class QueueItem;

// One turn of work of an item in "remote transcode": follows its child, or starts the next step
// when it has none.
void idle_remote(QueueItem& item);

// Judges the end of a remote step's child (remote/remote_termination.cpp).
void on_remote_proc_terminate(QueueItem& item, int wait_status);
