// Restores the queue at the start of the service.
#pragma once

// Fills the empty queue from the queue file; interrupted transcodes go back to "ready", at the
// front when they may start by themselves. False when there was nothing to read: the queue is not
// empty, or the file cannot be opened (see read_queue_file()).
bool read_queue();
