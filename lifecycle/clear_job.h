// The end of a job's life.
#pragma once

class QueueItem;

// Puts the item in "cleared", removes its file-operations job and ends its child. The next scan of
// the queue deletes the item, once nothing of the child is left.
void clear_job(QueueItem& item);
