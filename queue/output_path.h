// Where outputs may be written.
#pragma once

#include <string>

// True for a path directly under the output directory whose name may be used. Further slashes
// behind the directory are passed over.
bool is_output_path_allowed(const std::string& path);
