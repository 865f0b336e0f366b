// The second half of a cancel.
#pragma once

class QueueItem;

// Changes "cancelling" to "cancelled" once nothing of the child is left.
void finish_pending_cancel(QueueItem& item);
