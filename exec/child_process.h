// Starting children in other ways than QueueItem::proc_spawn().
#pragma once

class QueueItem;

// Prepares for a child that inherits the service's standard streams.
void prepare_silent_child(QueueItem& item);

// Like proc_spawn(), but calls `prepare` in the child before the tool is executed. That function
// may end the child instead.
bool spawn_after(QueueItem& item, void (*prepare)(const QueueItem& item));
