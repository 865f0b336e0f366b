// The text of the queue file.
#pragma once

#include <string>

// The queue as one JSON document on one line, without items in "init" or "cleared". If the whole
// text would be too long to be read back, each item is written without the parts that it can do
// without or find out again: its command line, the listed profiles, the last document of its remote
// server, the end of a long text. So is an item with more elements than are read back.
std::string queue_text();
