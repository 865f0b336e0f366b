// Restores the jobs of the previous run when the service starts.
#pragma once

// Fills the empty queue from the queue file; interrupted transcodes go back to "ready", at the
// front of the queue if they may start automatically. False if nothing was read: the queue is not
// empty, or the file cannot be opened (see read_queue_file()).
bool read_queue();
