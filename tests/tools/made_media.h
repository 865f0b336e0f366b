// Media that one test alone needs, and what a picture looks like.
#pragma once

#include "tests/support/media/tool_run.h"

#include <string>
#include <string_view>
#include <vector>

namespace qx_test {

// Makes `name` in `folder` with "ffmpeg -y ARGUMENTS name"; words are separated by blanks. Returns
// its path; a failure fails the test.
std::string make_media(const scratch_folder& folder, const std::string& name,
                       std::string_view arguments);

// Copies `source` to `target`; a failure fails the test. Returns `target`.
std::string copy_to(const std::string& target, const std::string& source);

// A picture shrunk to `width` by `height` points of grey, line by line, 0 black to 255 white;
// empty when it cannot be decoded.
std::vector<int> grey_points(const std::string& picture, int width, int height);

// The mean of all its points.
int brightness(const std::string& picture);

}  // namespace qx_test
