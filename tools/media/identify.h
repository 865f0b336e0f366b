// Finds out what a file is.
#pragma once

#include <string>
#include <vector>

#include "tools/media/item_entries.h"

// Identifies `path` and fills `entries`. Any regular file that can be read is identified: a file
// that is not media has a file type, a size and a time. False with the cause in `error`, in words
// that follow the file's name: the file is missing, not regular, or changed while it was read, or
// the engine could not give an answer, which must not be mistaken for one.
bool identify(const std::string& path, std::vector<item_entry>& entries, std::string& error);
