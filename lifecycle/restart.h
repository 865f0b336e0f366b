// Restores the jobs of the previous run when the service starts.
#pragma once

class QueueItem;

// Fills the empty queue from the queue file; interrupted transcodes go back to "ready", at the
// front of the queue if they may start automatically. False if nothing was read: the queue is not
// empty, or the file cannot be opened (see read_queue_file()).
bool read_queue();

// Checks a restored item whose source did not answer at the start, as the start would have done:
// the item is cancelled if its source has disappeared or is refused. Does nothing until the source
// answers, or if it has been checked.
void check_unseen_source(QueueItem& item);
