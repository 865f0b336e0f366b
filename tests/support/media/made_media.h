// Media for a single test, and checks of how a picture looks.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/media/tool_run.h"

namespace qx_test {

// Makes `name` in `folder` with "ffmpeg -y ARGUMENTS name"; the arguments are separated by blanks.
// Returns its path; a failure fails the test.
std::string make_media(const scratch_folder& folder, const std::string& name,
                       std::string_view arguments);

// Concatenates the files in `parts`, as a receiver does that resumes a recording. Returns the path
// of the result, `name` in `folder`.
std::string join_media(const scratch_folder& folder, const std::string& name,
                       const std::vector<std::string>& parts);

// A source for make_media: seven bars of 75 % of white, yellow, cyan, green, magenta, red and blue
// as RGB, of a size such as "1280x720".
std::string colour_bars(const std::string& size);

// The largest deviation of any of these seven bars from its nominal value, 0 to 255, in a picture
// or the first picture of a film, decoded with the matrix and the range in its tags. 255 if it
// cannot be read or names no matrix.
int bars_error(const std::string& path);

// Copies `source` to `target`; a failure fails the test. Returns `target`.
std::string copy_to(const std::string& target, const std::string& source);

// A picture shrunk to `width` by `height` points of grey, line by line, 0 black to 255 white;
// empty when it cannot be decoded.
std::vector<int> grey_points(const std::string& picture, int width, int height);

// The mean of all its pixels.
int brightness(const std::string& picture);

}  // namespace qx_test
