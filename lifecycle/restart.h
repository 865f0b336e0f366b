// What a restart of the service does to the jobs that the run before has left.
#pragma once

// Fills the empty queue from the queue file; interrupted transcodes go back to "ready", at the
// front when they may start by themselves. False when there was nothing to read: the queue is not
// empty, or the file cannot be opened (see read_queue_file()).
bool read_queue();
