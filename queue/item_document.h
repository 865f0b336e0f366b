// Reads the JSON form of an item, from the queue file or a remote server's document.
#pragma once

#include <json11.hpp>

class QueueItem;

// Fills the item from a document without checking it against the machine. Returns null, or the
// reason why the document is refused, for a line on standard error; the item may then be partly
// filled and should be destroyed. An item that has a child takes no document.
const char* read_item(QueueItem& item, const json11::Json& json);
