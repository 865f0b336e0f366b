// The queue as a table for people.
#pragma once

#include <string>
#include <vector>

#include "tools/client/queue_reader.h"

// A heading and a line for each item, each ending in a line feed; empty without items. Columns are
// as wide as what they hold. Ids are cut to what tells the listed items apart, 8 characters at
// least.
std::string item_table(const std::vector<listed_item>& items);

// How many characters of an entry id tell the listed items apart, 8 at least.
std::size_t telling_length(const std::vector<listed_item>& items);
