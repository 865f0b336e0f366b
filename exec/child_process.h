// Children that nobody listens to.
#pragma once

class QueueItem;

// Makes ready for a child that runs with the service's own standard streams.
void prepare_silent_child(QueueItem& item);
