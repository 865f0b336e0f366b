// Moves bytes between the service and an item's child, and reaps the child, without ever waiting.
// Evaluating the child's end is up to the caller.
#pragma once

class QueueItem;

// Result of one run of the pump.
struct pump_result {
  bool active = false;       // bytes arrived, the output ended, or the child did
  bool child_ended = false;  // reaped: proc_status is its wait status, all output has been read
};

// Writes the child's input, reads its output and reaps it. After the child's end the item keeps
// everything of it for the evaluation, until forget_child() is called in the same turn.
pump_result pump_child(QueueItem& item);

// Releases the pid, pipes, buffers and command line of a reaped child.
void forget_child(QueueItem& item);
