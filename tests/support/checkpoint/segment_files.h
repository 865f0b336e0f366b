// Finished segments and their records, as files that a test moves about.
#pragma once

#include <string>

namespace qx_test {

// The record of the segment at `path`, the first one if there are several; empty if there is none.
std::string record_of(const std::string& path);

// The record that a segment at `target` would have if it had the content of the one with `record`.
std::string record_for(const std::string& record, const std::string& target);

// Puts a copy of the segment at `path` and of its record in the place of the one at `target`.
void copy_with_record(const std::string& path, const std::string& target);

}  // namespace qx_test
