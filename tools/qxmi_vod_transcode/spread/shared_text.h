// Short texts that a tool and its tasks on other machines leave each other in the folder of
// segments.
#pragma once

#include <cstddef>
#include <string>

// Writes `text` to the file `name` in `folder`, so that readers see the old text or the new one.
// False with errno.
bool write_text(int folder, const std::string& name, const std::string& text);

// Reads that file into `text`, which must be empty. Waits for nobody, and follows no link. False
// with errno if it cannot be read, or is longer than `limit` bytes.
bool read_text(int folder, const std::string& name, std::size_t limit, std::string& text);
