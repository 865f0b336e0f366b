// The second half of a cancel.
#pragma once

class QueueItem;

// Turns "cancelling" into "cancelled" once nothing of the child is left. To be called in every
// turn.
void finish_pending_cancel(QueueItem& item);
