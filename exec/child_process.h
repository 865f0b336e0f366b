// Children whose output is not read.
#pragma once

class QueueItem;

// Prepares for a child that inherits the service's standard streams.
void prepare_silent_child(QueueItem& item);
