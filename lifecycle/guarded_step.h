// Part of a job's work, in which memory may run out.
#pragma once

#include <new>

#include "queue/queue_item.h"

// What an item was like before a step.
struct step_start {
  explicit step_start(const QueueItem& item) : sm(item.sm), has_child(item.proc_pid != -1) {}

  QueueItem::transcode_state_machine sm;
  bool has_child;
};

// Cleans up after a step that ran out of memory, and prints a line. A step that had not started its
// child yet is undone, to be repeated in a later turn. If the end of a child could not be
// evaluated, the item is cancelled with a text. Otherwise the child, or what it led to, is left
// alone.
void end_unfinished_step(QueueItem& item, const step_start& start);

// Does the work and returns its result; false if memory ran out.
template <typename Work>
bool run_step(QueueItem& item, Work work) {
  const step_start start(item);
  try {
    return work();
  } catch (const std::bad_alloc&) {
    end_unfinished_step(item, start);
    return false;
  }
}
