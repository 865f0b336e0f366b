// Finds out what a file is.
#pragma once

#include <string>
#include <vector>

#include "tools/qxmi_startitem/item_entries.h"

// Fills `entries` with what `path` is. Anything that is a regular file and can be read is
// something: what is no media has a file type, a size and a time. False with the cause in `error`
// in words that follow the file's name: no such file, no regular file, changed while it was read,
// or an engine that could not give an answer, which must not be taken for one.
bool identify(const std::string& path, std::vector<item_entry>& entries, std::string& error);
