// Runs qxmi_startitem as the service does, and reads its results.
#pragma once

#include <map>
#include <string>

#include "tests/support/media/made_media.h"

namespace qx_test {

using entry_map = std::map<std::string, std::string>;

// The arguments the service gives for `path`.
std::vector<std::string> startitem_arguments(const std::string& path);

// The entries of the metadata of `path`; none when there is no metadata. A file that the library
// cannot read fails the test.
entry_map metadata_of(const std::string& path);

// Gives `path` metadata of the one entry.
void write_metadata(const std::string& path, const std::string& name, const std::string& value);

// Identifies a copy of `source` that is called `name` and returns the entries; a failure of the
// tool fails the test.
entry_map identified(const std::string& source, const std::string& name = "item");

}  // namespace qx_test
