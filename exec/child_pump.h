// Moves the bytes between the service and a job's child, and reaps the child, without ever waiting.
// Whoever drives a job judges the end of its child.
#pragma once

class QueueItem;

// The result of one turn of the pump.
struct pump_result {
  bool active = false;       // bytes came, the output ended, or the child did
  bool child_ended = false;  // reaped: its wait status is in proc_status, its last output is read
};

// Feeds the item's child, reads its output and reaps it. After the end of a child the item still
// has everything of it, to be judged, until forget_child() is called in the same turn.
pump_result pump_child(QueueItem& item);

// Releases what a reaped child leaves: its pid, pipes, buffers and command line.
void forget_child(QueueItem& item);
