// The JSON form of a job, read back: from the queue file, or from a remote server's document.
#pragma once

#include <json11.hpp>

class QueueItem;

// Fills the item from a document, without a look at the machine. False when the document is
// refused, as it is by an item that has a child; the item may then be partly filled and is good for
// nothing but destruction.
bool read_item(QueueItem& item, const json11::Json& json);
