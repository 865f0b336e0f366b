// Ends a child that does not end by itself after a cancel.
//
// A child that has been sent SIGTERM gets SIGCONT 10 s later, in case it is stopped, and SIGKILL 60
// s after the SIGTERM. A child that a cancel left to finish gets SIGTERM after 60 s, and then the
// same. All signals go to its process group, and each is one line on standard error.
#pragma once

class QueueItem;

// Call it when the item's child has been left to finish by a cancel. Does nothing without a child.
void limit_last_step(QueueItem& item);

// Call it when the item's child has been sent SIGTERM. Times count from the first call. Does
// nothing without a child.
void limit_termination(QueueItem& item);

// Sends the signal that is due. To be called in every turn while the child runs. Does nothing
// during a shutdown of the service, which has a deadline of its own.
void end_stuck_child(QueueItem& item);
