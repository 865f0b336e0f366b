// Restores the jobs of the previous run when the service starts.
#pragma once

class QueueItem;

// Fills the empty queue from the queue file; interrupted transcodes go back to "ready", at the
// front of the queue if they may start automatically. False if nothing was read: the queue is not
// empty, or the file cannot be opened (see read_queue_file()).
bool read_queue();

// Checks the source of a restored item whose `source_unchecked` is set, if it answers by now.
void check_late_source(QueueItem& item);
