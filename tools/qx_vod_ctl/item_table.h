// The queue as a table for people.
#pragma once

#include <string>
#include <vector>

#include "tools/client/queue_reader.h"

// A heading and a line for each item, each ending in a line feed; empty without items. Columns are
// as wide as their contents. Ids are cut to the length that keeps the listed items distinct, at
// least 8 characters.
std::string item_table(const std::vector<listed_item>& items);

// How many characters of an entry id keep the listed items distinct, at least 8.
std::size_t telling_length(const std::vector<listed_item>& items);
