// Reads the JSON form of an item, from the queue file or a remote server's document.
#pragma once

#include <json11.hpp>

class QueueItem;

// Fills the item from a document without checking it against the machine. False if the document is
// refused, also because the item has a child; the item may then be partly filled and should be
// destroyed.
bool read_item(QueueItem& item, const json11::Json& json);
